#ifndef HOST_DECODER_H
#define HOST_DECODER_H

#include <host/host_export.h>
#include <host/idecoder.h>

#include <QObject>

/**
 * A decoder plug-in that announces new sessions when told to: what a host
 * (or a test) registers with Core::addPlugin after it writes the sessions
 * table.
 */
class HOST_EXPORT Decoder : public QObject, public IDecoder
{
    Q_OBJECT
    Q_INTERFACES(IDecoder)

public:
    explicit Decoder(QObject *parent = nullptr);

    QObject *object() override { return this; }

public slots:
    void announceNewSessions();

signals:
    void aNewSessions();
};

#endif
