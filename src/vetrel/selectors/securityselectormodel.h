#ifndef VETREL_SECURITYSELECTORMODEL_H
#define VETREL_SECURITYSELECTORMODEL_H

#include <QAbstractListModel>

#include <vetrel/vetrel_export.h>

#include <memory>

class Record;
class SecuritySelectorModelPrivate;

/**
 * The instruments of "securities" whose session is open, sorted by stock
 * code, board code and name.
 *
 * populate() fills the list at once. When a decoder plug-in says that the
 * sessions changed, the rows are read and sorted on a worker thread instead
 * (screened by the new sessions, not by an override of filter()) and swapped
 * in with one reset once control returns to the event loop; a refill that a
 * later notice or populate() overtakes is dropped unseen.
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
    /// Exception("Incorrect type conversion.") after the rows read before it
    /// are shown.
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
    std::unique_ptr<SecuritySelectorModelPrivate> const d;
};

#endif
