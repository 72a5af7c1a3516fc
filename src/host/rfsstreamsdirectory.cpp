#include "rfsstreamsdirectory.h"

#include "indexlist.h"
#include "record.h"
#include "table.h"

RFSStreamsDirectory::RFSStreamsDirectory()
    : Directory(QStringLiteral("rfs_streams"))
{ }

RFSStreamsDirectory &RFSStreamsDirectory::self()
{
    static RFSStreamsDirectory directory;
    return directory;
}

RFSStreamsDirectory *RFSStreamsDirectory::i()
{
    self().sync();
    return &self();
}

RFSStreamsDirectory::StreamsMap RFSStreamsDirectory::getStreamsMap()
{
    const RFSStreamsDirectory *d = &self();
    return d->read([d] { return d->m_streams; });
}

void RFSStreamsDirectory::rebuild(const Table *table)
{
    m_streams.clear();
    if (!table)
        return;
    const int id = table->columnIndex(QStringLiteral("stream_id"));
    const int code = table->columnIndex(QStringLiteral("sec_code"));
    const int quantity = table->columnIndex(QStringLiteral("quantity"));
    for (const Record *row : *table->masterIndex()) {
        m_streams.insert(qulonglong(table->dataPtr(row, id)->toInt64()),
            QStringLiteral("%1 * %2").arg(table->dataPtr(row, code)->toString(),
                table->dataPtr(row, quantity)->toDecimal().toSystemString()));
    }
}
