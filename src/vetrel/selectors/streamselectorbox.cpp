#include <vetrel/streamselectorbox.h>

#include "selectorbox_p.h"
#include <vetrel/streamselectorfilteredmodel.h>
#include <vetrel/streamselectormodel.h>

#include <QLineEdit>
#include <QSignalBlocker>

static const SelectorData::FieldConstantSet fieldConstants;

class StreamSelectorBoxPrivate : public SelectorData::SelectorBoxPrivate
{
public:
    explicit StreamSelectorBoxPrivate(StreamSelectorBox *q)
        : SelectorBoxPrivate(q)
        , q(q)
        , filtered(new StreamSelectorFilteredModel(q))
    { }

    // A stream is known by its id: two streams may read alike.
    QVariant keyOfRow(int row) const override { return q->itemData(row, StreamSelectorModel::StreamIdRole); }
    void editChanged(const QString &text) override { q->edit_changed(text); }
    void choiceKept() override { emit q->changed(q->getStreamId(), q->getSecurityId()); }

    QVariant current(int role) const
    {
        return q->currentIndex() < 0 ? QVariant() : q->itemData(q->currentIndex(), role);
    }

    StreamSelectorBox *const q;
    StreamSelectorFilteredModel *const filtered;
};

StreamSelectorBox::StreamSelectorBox(QWidget *parent)
    : ComboBox(parent)
    , d(new StreamSelectorBoxPrivate(this))
{
    lineEdit()->setPlaceholderText(tr("Поток (Инструмент * количество)"));
    setSourceModel(new StreamSelectorModel(this));
    d->install(d->filtered);
    // Installing the model makes its first row current; the box starts with
    // no stream chosen and an empty line.
    setCurrentIndex(-1);
    connect(this, &QComboBox::editTextChanged, this, &StreamSelectorBox::edit_changed);
}

StreamSelectorBox::~StreamSelectorBox() = default;

qulonglong StreamSelectorBox::getStreamId() const
{
    return d->current(StreamSelectorModel::StreamIdRole).toULongLong();
}

qlonglong StreamSelectorBox::getSecurityId() const
{
    return d->current(StreamSelectorModel::SecurityIdRole).toLongLong();
}

void StreamSelectorBox::setSourceModel(StreamSelectorModel *model)
{
    SelectorData::replaceSource(*d->filtered, model, this);
    d->filtered->sort(0, Qt::AscendingOrder);
}

void StreamSelectorBox::setStream(qulonglong stream_id, qlonglong sec_id)
{
    {
        // Narrowing the list and moving the current row are announced once,
        // by changed() below.
        const QSignalBlocker blocker(this);
        if (sec_id != getSecurityId())
            d->filtered->setSecurityId(sec_id);
        const int row = SelectorData::findItem(*this, stream_id, StreamSelectorModel::StreamIdRole);
        if (row < 0)
            return;
        setCurrentIndex(row);
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
    const int row = d->rowOfText(text);
    if (row < 0)
        return;
    setCurrentIndex(row);
    emit changed(getStreamId(), getSecurityId());
}

void StreamSelectorBox::onModelAboutToBeReset()
{
    d->aboutToReset();
}

void StreamSelectorBox::onModelReset()
{
    d->wasReset();
}
