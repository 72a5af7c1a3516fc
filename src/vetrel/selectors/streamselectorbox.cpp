#include <vetrel/streamselectorbox.h>

#include "selectordata_p.h"
#include <vetrel/streamselectorfilteredmodel.h>
#include <vetrel/streamselectormodel.h>

#include <QLineEdit>
#include <QSignalBlocker>

static const SelectorData::FieldConstantSet fieldConstants;

StreamSelectorBox::StreamSelectorBox(QWidget *parent)
    : ComboBox(parent)
    , m_filteredModel(new StreamSelectorFilteredModel(this))
{
    lineEdit()->setPlaceholderText(tr("Поток (Инструмент * количество)"));
    // Return must not add the typed text to the list.
    setInsertPolicy(NoInsert);
    SelectorData::useUniformRows(*this);
    setSourceModel(new StreamSelectorModel(this));
    setModel(m_filteredModel);
    // Installing the model makes its first row current; the box starts with
    // no stream chosen and an empty line.
    setCurrentIndex(-1);
    connect(this, &QComboBox::editTextChanged, this, &StreamSelectorBox::edit_changed);
}

qulonglong StreamSelectorBox::getStreamId() const
{
    return currentIndex() < 0 ? 0 : itemData(currentIndex(), StreamSelectorModel::StreamIdRole).toULongLong();
}

qlonglong StreamSelectorBox::getSecurityId() const
{
    return currentIndex() < 0 ? 0
                              : itemData(currentIndex(), StreamSelectorModel::SecurityIdRole).toLongLong();
}

void StreamSelectorBox::setSourceModel(StreamSelectorModel *model)
{
    SelectorData::replaceSource(*m_filteredModel, model, this);
    m_filteredModel->sort(0, Qt::AscendingOrder);
    // Connected after the proxy's own handlers, so that the box restores the
    // choice once the proxy and the combo box have taken in the new rows.
    connect(model, &QAbstractItemModel::modelAboutToBeReset, this, &StreamSelectorBox::onModelAboutToBeReset);
    connect(model, &QAbstractItemModel::modelReset, this, &StreamSelectorBox::onModelReset);
}

void StreamSelectorBox::setStream(qulonglong stream_id, qlonglong sec_id)
{
    {
        // Narrowing the list and moving the current row are announced once,
        // by changed() below.
        const QSignalBlocker blocker(this);
        if (sec_id != getSecurityId()) {
            m_filteredModel->setSecurityId(sec_id);
            m_securityId = sec_id;
        }
        const int row = SelectorData::findItem(*this, stream_id, StreamSelectorModel::StreamIdRole);
        if (row < 0)
            return;
        setCurrentIndex(row);
        m_streamId = stream_id;
    }
    emit changed(stream_id, getSecurityId());
}

void StreamSelectorBox::edit_changed(const QString &text)
{
    if (text.isEmpty()) {
        setCurrentIndex(-1);
        emit changed(0, 0);
        return;
    }
    const int row = SelectorData::findText(*this, text);
    if (row < 0)
        return;
    setCurrentIndex(row);
    emit changed(getStreamId(), getSecurityId());
}

void StreamSelectorBox::onModelAboutToBeReset()
{
    blockSignals(true);
    const int named = SelectorData::findText(*this, currentText());
    m_streamId = named < 0 ? 0 : itemData(named, StreamSelectorModel::StreamIdRole).toULongLong();
    m_securityId = named < 0 ? 0 : itemData(named, StreamSelectorModel::SecurityIdRole).toLongLong();
}

void StreamSelectorBox::onModelReset()
{
    // Whatever row the combo box took during the reset is nobody's choice.
    setCurrentIndex(-1);
    blockSignals(false);
    const qulonglong chosen = m_streamId;
    setStream(m_streamId, m_securityId);
    // A stream that is no longer offered is no longer chosen, and the form
    // must hear it rather than keep trading on it.
    if (chosen != 0 && getStreamId() != chosen)
        emit changed(0, 0);
}
