#ifndef HOST_IDECODER_H
#define HOST_IDECODER_H

#include <QObject>

#define IDecoder_iid "com.orv.Corvane.Plugin.IDecoder/1.0"

/**
 * The interface of the host's market-data decoder plug-ins. A decoder is a
 * QObject that implements it (Q_INTERFACES(IDecoder)) and has the signal
 *     void aNewSessions();
 * which it emits after the sessions table has new trading sessions. Find
 * decoders among ICore::plugins() with qobject_cast<IDecoder *>.
 */
class IDecoder
{
public:
    virtual ~IDecoder() = default;
    // The decoder's QObject, for connecting to aNewSessions().
    virtual QObject *object() = 0;
};

Q_DECLARE_INTERFACE(IDecoder, IDecoder_iid)

#endif
