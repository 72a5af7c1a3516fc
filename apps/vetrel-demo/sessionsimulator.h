#ifndef VETREL_DEMO_SESSIONSIMULATOR_H
#define VETREL_DEMO_SESSIONSIMULATOR_H

#include <host/decoder.h>

/**
 * Stands in for the terminal's market-data decoder: it opens a stock's next
 * trading session (closing the current one and moving its securities over),
 * then announces the new sessions as a real decoder plug-in would, so the
 * security lists refill while the form keeps its choice.
 */
class SessionSimulator : public Decoder
{
    Q_OBJECT

public:
    explicit SessionSimulator(QObject *parent = nullptr);

    /// Opens the next session of \a stockId after \a msec milliseconds.
    void openNextSessionLater(int stockId, int msec);

public slots:
    /// Returns the new session's id, 0 when the stock has no open session.
    int openNextSession(int stockId);
};

#endif
