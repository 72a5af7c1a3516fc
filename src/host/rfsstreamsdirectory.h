#ifndef HOST_RFSSTREAMSDIRECTORY_H
#define HOST_RFSSTREAMSDIRECTORY_H

#include <host/directory.h>
#include <host/host_export.h>

#include <QMap>

/**
 * The RFS price streams of the "rfs_streams" table: one stream offers one
 * security in one quantity. dataChanged() follows every change of the table.
 */
class HOST_EXPORT RFSStreamsDirectory : public Directory
{
    Q_OBJECT

public:
    // Stream id to its text, "<security code> * <quantity>" (the quantity in
    // the default locale's notation).
    using StreamsMap = QMap<qulonglong, QString>;

    static RFSStreamsDirectory *i();

    static StreamsMap getStreamsMap();

private:
    RFSStreamsDirectory();
    static RFSStreamsDirectory &self();
    void rebuild(const Table *table) override;

    StreamsMap m_streams;
};

#endif
