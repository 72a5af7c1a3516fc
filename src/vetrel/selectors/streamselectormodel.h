#ifndef VETREL_STREAMSELECTORMODEL_H
#define VETREL_STREAMSELECTORMODEL_H

#include <QStandardItemModel>

#include <vetrel/vetrel_export.h>

/**
 * The price streams that RFSStreamsDirectory offers, one item per stream:
 * its text for display, the stream id and the security id as user roles.
 * Refills itself, once control returns to the event loop, whenever the
 * directory's table changes.
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

public slots:
    /// Throws Exception("Incorrect type conversion.") on a wrongly typed id
    /// column, keeping the rows read so far.
    void populate();

private:
    /// populate() for the streams directory's notices, which come through the
    /// event loop: a failure is a warning there.
    void refill();
};

#endif
