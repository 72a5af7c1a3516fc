#ifndef VETREL_STREAMSELECTORBOX_H
#define VETREL_STREAMSELECTORBOX_H

#include <vetrel/combobox.h>

#include <vetrel/vetrel_export.h>

class StreamSelectorFilteredModel;
class StreamSelectorModel;

/**
 * Picks a price stream (a security offered in a given quantity). The choice
 * is reported as the pair (stream id, security id) and survives refills of
 * the list: a stream still offered stays chosen, with one changed() notice.
 */
class VETREL_EXPORT StreamSelectorBox : public ComboBox
{
    Q_OBJECT

public:
    explicit StreamSelectorBox(QWidget *parent = nullptr);

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
    void onModelAboutToBeReset();
    void onModelReset();

private:
    StreamSelectorFilteredModel *m_filteredModel;
    qulonglong m_streamId = 0;
    qlonglong m_securityId = 0;
};

#endif
