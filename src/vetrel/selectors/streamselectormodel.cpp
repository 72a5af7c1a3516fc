#include <vetrel/streamselectormodel.h>

#include "selectordata_p.h"

#include <host/exception.h>
#include <host/rfsstreamsdirectory.h>

#include <QSignalBlocker>

static const SelectorData::FieldConstantSet fieldConstants;

StreamSelectorModel::StreamSelectorModel(QObject *parent)
    : QStandardItemModel(0, 1, parent)
{
    connect(RFSStreamsDirectory::i(), &Directory::dataChanged, this, &StreamSelectorModel::refill,
        Qt::QueuedConnection);
}

namespace
{

void appendStreams(
    QStandardItemModel &model, const Table &table, const RFSStreamsDirectory::StreamsMap &streams)
{
    const TableLocker locker(&table);
    const int streamIdColumn = table.columnIndex(QStringLiteral("stream_id"));
    const int securityIdColumn = table.columnIndex(QStringLiteral("sec_id"));
    for (const Record *record : *table.masterIndex()) {
        const qulonglong streamId = qulonglong(SelectorData::readInt64(table, *record, streamIdColumn));
        const qlonglong securityId = SelectorData::readInt64(table, *record, securityIdColumn);
        const auto text = streams.constFind(streamId);
        if (text == streams.cend())
            continue;
        auto *item = new QStandardItem(*text);
        item->setData(streamId, StreamSelectorModel::StreamIdRole);
        item->setData(securityId, StreamSelectorModel::SecurityIdRole);
        model.appendRow(item);
    }
}

}

void StreamSelectorModel::populate()
{
    beginResetModel();
    // The map is taken before the table's lock: the directory takes its own
    // mutex before the table's, and the reverse order could deadlock with a
    // thread that looks streams up.
    const RFSStreamsDirectory::StreamsMap streams = RFSStreamsDirectory::getStreamsMap();
    {
        // Views learn the new rows from the reset, not row by row.
        const QSignalBlocker blocker(this);
        setRowCount(0);
        if (const Table *table = RFSStreamsDirectory::i()->table())
            appendStreams(*this, *table, streams);
    }
    endResetModel();
}

void StreamSelectorModel::refill()
{
    try {
        populate();
    } catch (const Exception &error) {
        // Thrown into the event loop it would end the program; the rows read
        // so far are shown, and the reset is closed so that views stay sound.
        endResetModel();
        qWarning("StreamSelectorModel: %s", qPrintable(error.message()));
    }
}
