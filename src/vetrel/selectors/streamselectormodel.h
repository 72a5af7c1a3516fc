#ifndef VETREL_STREAMSELECTORMODEL_H
#define VETREL_STREAMSELECTORMODEL_H

#include <QStandardItemModel>

#include <vetrel/vetrel_export.h>

#include <memory>

class StreamSelectorModelPrivate;

/**
 * The price streams that RFSStreamsDirectory offers, one item per stream:
 * its text for display, the stream id and the security id as user roles.
 * Whenever the directory's table changes, the streams are read on a worker
 * thread and swapped in with one reset once control returns to the event
 * loop; a refill that a later change overtakes is dropped unseen.
 */
class VETREL_EXPORT StreamSelectorModel : public QStandardItemModel
{
    Q_OBJECT

public:
    enum ItemDataRole
    {
        StreamIdRole = Qt::UserRole + 1, ///< qulonglong
        SecurityIdRole, ///< qlonglong
    };

    explicit StreamSelectorModel(QObject *parent = nullptr);
    ~StreamSelectorModel() override;

public slots:
    /// Refills at once. Throws Exception("Incorrect type conversion.") on a
    /// wrongly typed id column, after the rows read before it are shown.
    void populate();

private:
    std::unique_ptr<StreamSelectorModelPrivate> const d;
};

#endif
