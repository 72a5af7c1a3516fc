#include <vetrel/streamselectormodel.h>

#include "selectordata_p.h"

#include <host/exception.h>
#include <host/rfsstreamsdirectory.h>

#include <QSignalBlocker>

static const SelectorData::FieldConstantSet fieldConstants;

namespace
{

struct Stream
{
    qulonglong id;
    qlonglong securityId;
    QString text;
};

struct Streams
{
    std::vector<Stream> rows;
    std::exception_ptr error;
};

// Touches nothing of the model, so that it may run on the worker.
Streams readStreams(const Table *table)
{
    Streams streams;
    if (!table)
        return streams;
    // The map is taken before the table's lock: the directory takes its own
    // mutex before the table's, and the reverse order could deadlock with a
    // thread that looks streams up.
    const RFSStreamsDirectory::StreamsMap texts = RFSStreamsDirectory::getStreamsMap();
    const TableLocker locker(table);
    const int streamIdColumn = table->columnIndex(QStringLiteral("stream_id"));
    const int securityIdColumn = table->columnIndex(QStringLiteral("sec_id"));
    try {
        for (const Record *record : *table->masterIndex()) {
            const qulonglong streamId = qulonglong(SelectorData::readInt64(*table, *record, streamIdColumn));
            const qlonglong securityId = SelectorData::readInt64(*table, *record, securityIdColumn);
            const auto text = texts.constFind(streamId);
            if (text != texts.cend())
                streams.rows.push_back({ streamId, securityId, *text });
        }
    } catch (...) {
        streams.error = std::current_exception();
    }
    return streams;
}

}

class StreamSelectorModelPrivate
{
public:
    explicit StreamSelectorModelPrivate(StreamSelectorModel *q)
        : q(q)
    { }

    void swapIn(const Streams &streams)
    {
        {
            const SelectorData::ResetGuard reset(*q);
            // Views learn the new rows from the reset, not row by row.
            const QSignalBlocker blocker(q);
            q->setRowCount(0);
            for (const Stream &stream : streams.rows) {
                auto *item = new QStandardItem(stream.text);
                item->setData(stream.id, StreamSelectorModel::StreamIdRole);
                item->setData(stream.securityId, StreamSelectorModel::SecurityIdRole);
                q->appendRow(item);
            }
        }
        if (streams.error)
            std::rethrow_exception(streams.error);
    }

    void refillLater()
    {
        const Table *table = RFSStreamsDirectory::i()->table();
        refiller.start<Streams>([table] { return readStreams(table); },
            [this](Streams &streams) {
                try {
                    swapIn(streams);
                } catch (const Exception &error) {
                    // Thrown into the event loop it would end the program;
                    // the rows read before the error are shown.
                    qWarning("StreamSelectorModel: %s", qPrintable(error.message()));
                }
            });
    }

    StreamSelectorModel *const q;
    SelectorData::Refiller refiller;
};

StreamSelectorModel::StreamSelectorModel(QObject *parent)
    : QStandardItemModel(0, 1, parent)
    , d(new StreamSelectorModelPrivate(this))
{
    connect(RFSStreamsDirectory::i(), &Directory::dataChanged, this, [this] { d->refillLater(); });
}

StreamSelectorModel::~StreamSelectorModel() = default;

void StreamSelectorModel::populate()
{
    d->refiller.overtake();
    d->swapIn(readStreams(RFSStreamsDirectory::i()->table()));
}
