#ifndef VETREL_STREAMSELECTORBOX_H
#define VETREL_STREAMSELECTORBOX_H

#include <vetrel/combobox.h>

#include <vetrel/vetrel_export.h>

#include <memory>

class StreamSelectorBoxPrivate;
class StreamSelectorModel;

/**
 * Chooses a price stream: an instrument quoted for a given quantity. The
 * choice goes out as the pair (stream id, security id).
 *
 * It survives refreshes of the list: a stream still offered stays chosen and
 * is announced once more with changed(). When the chosen stream is no longer
 * offered, the line is cleared and changed(0, 0) is announced, so that an
 * order form never goes on trading a stream that has gone.
 */
class VETREL_EXPORT StreamSelectorBox : public ComboBox
{
    Q_OBJECT

public:
    explicit StreamSelectorBox(QWidget *parent = nullptr);
    ~StreamSelectorBox() override;

    /// The ids of the current row; 0 when there is none.
    qulonglong getStreamId() const;
    qlonglong getSecurityId() const;

    /// Takes the model (deleting the previous one) and fills it.
    void setSourceModel(StreamSelectorModel *model);

signals:
    void changed(qulonglong streamId, qlonglong secId);

public slots:
    /// Narrows the list to the security when it is not the current row's,
    /// then selects the stream; nothing is selected or announced when the
    /// list does not offer it.
    void setStream(qulonglong stream_id, qlonglong sec_id);
    void edit_changed(const QString &text);

protected slots:
    /// The two halves of keeping the choice across a reset of the list; the
    /// box runs them itself on every reset of its model.
    void onModelAboutToBeReset();
    void onModelReset();

private:
    std::unique_ptr<StreamSelectorBoxPrivate> const d;
};

#endif
