#ifndef VETREL_SECURITYSELECTORMODEL_H
#define VETREL_SECURITYSELECTORMODEL_H

#include <QAbstractListModel>
#include <QList>

#include <vetrel/vetrel_export.h>

class LambdaFilterFunc;
class Record;
class Table;

/**
 * The securities of the "securities" table that trade in the current
 * sessions, ordered by stock code, board code and name. Refills whenever a
 * decoder plug-in of the host announces new sessions.
 */
class VETREL_EXPORT SecuritySelectorModel : public QAbstractListModel
{
    Q_OBJECT

public:
    enum ItemDataRole
    {
        StockCodeRole = Qt::UserRole + 1,
        BoardIdRole, ///< int
        BoardCodeRole,
        SecurityIdRole, ///< qlonglong
        SecurityNameRole,
        SecurityCodeRole,
        BaseCodeRole,
    };
    Q_ENUM(ItemDataRole)

    struct Data
    {
        QString stockCode;
        int boardId = 0;
        QString boardCode;
        qlonglong secId = 0;
        QString secName;
        QString secCode;
        QString baseCode;
    };

    explicit SecuritySelectorModel(QObject *parent = nullptr);
    ~SecuritySelectorModel() override;

    /// Refills from the table. A field of an unexpected type throws
    /// Exception("Incorrect type conversion.") with the rows read so far kept.
    virtual void populate();
    /// Whether the record trades in the sessions known at the last update.
    virtual bool filter(const Record &record) const;
    /// Takes the open sessions afresh; the rows follow at the next populate().
    void updateSessionsFilter();

    /// The role that display and edit answer with (the name by default).
    ItemDataRole defaultDataRole() const;
    void setDefaultDataRole(ItemDataRole role);

    Qt::ItemFlags flags(const QModelIndex &index) const override;
    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;

protected slots:
    void aNewSessions();

private:
    QList<Data> m_rows;
    Table *m_table;
    int m_stockIdColumn;
    int m_boardIdColumn;
    int m_secIdColumn;
    int m_secNameColumn;
    int m_secCodeColumn;
    int m_baseCodeColumn;
    LambdaFilterFunc *m_sessionFilter = nullptr;
    ItemDataRole m_defaultDataRole = SecurityNameRole;
    // Sessions announced while a refill runs are taken in right after it.
    bool m_populating = false;
    bool m_sessionsPending = false;
};

#endif
