#include "sessionsimulator.h"

#include <host/database.h>
#include <host/field.h>
#include <host/icore.h>
#include <host/indexlist.h>
#include <host/table.h>
#include <host/tablelocker.h>

#include <QDateTime>
#include <QTimer>

namespace
{

struct Sessions
{
    int open = 0;
    int last = 0;
};

Sessions sessionsOf(Table *sessions, int stockId)
{
    const int stock = sessions->columnIndex(QStringLiteral("stock_id"));
    const int id = sessions->columnIndex(QStringLiteral("sess_id"));
    const int status = sessions->columnIndex(QStringLiteral("status"));
    Sessions found;
    const TableLocker locker(sessions);
    for (const Record *record : *sessions->masterIndex()) {
        if (sessions->dataPtr(*record, stock)->toInt32() != stockId)
            continue;
        const int session = sessions->dataPtr(*record, id)->toInt32();
        found.last = qMax(found.last, session);
        if (sessions->dataPtr(*record, status)->toString() == QLatin1String("O"))
            found.open = session;
    }
    return found;
}

QList<qint64> securitiesOf(Table *securities, int stockId, int session)
{
    const int stock = securities->columnIndex(QStringLiteral("stock_id"));
    const int sessionColumn = securities->columnIndex(QStringLiteral("sess_id"));
    const int id = securities->columnIndex(QStringLiteral("sec_id"));
    QList<qint64> ids;
    const TableLocker locker(securities);
    for (const Record *record : *securities->masterIndex()) {
        if (securities->dataPtr(*record, stock)->toInt32() == stockId
            && securities->dataPtr(*record, sessionColumn)->toInt32() == session)
            ids << securities->dataPtr(*record, id)->toInt64();
    }
    return ids;
}

}

SessionSimulator::SessionSimulator(QObject *parent)
    : Decoder(parent)
{
}

void SessionSimulator::openNextSessionLater(int stockId, int msec)
{
    QTimer::singleShot(msec, this, [this, stockId] { openNextSession(stockId); });
}

int SessionSimulator::openNextSession(int stockId)
{
    Database *database = ICore::instance()->database();
    Table *sessions = database->table(QStringLiteral("sessions"));
    Table *securities = database->table(QStringLiteral("securities"));
    const Sessions current = sessionsOf(sessions, stockId);
    if (current.open == 0)
        return 0;

    const int next = current.last + 1;
    sessions->update({{QStringLiteral("stock_id"), stockId}, {QStringLiteral("sess_id"), current.open},
                      {QStringLiteral("status"), QStringLiteral("C")}});
    sessions->insert({{QStringLiteral("stock_id"), stockId}, {QStringLiteral("sess_id"), next},
                      {QStringLiteral("status"), QStringLiteral("O")},
                      {QStringLiteral("open_time"), QDateTime::currentDateTimeUtc().toString(Qt::ISODate)}});
    for (qint64 id : securitiesOf(securities, stockId, current.open))
        securities->update({{QStringLiteral("sec_id"), id}, {QStringLiteral("sess_id"), next}});
    qInfo("Session %d of stock %d opened; %d closed", next, stockId, current.open);
    announceNewSessions();
    return next;
}
