#include "selectordata_p.h"

#include <vetrel/caseinsensitiveindex_p.h>

#include <host/database.h>
#include <host/exception.h>
#include <host/field.h>
#include <host/icore.h>

#include <QComboBox>
#include <QCompleter>
#include <QListView>

#include <limits>

namespace SelectorData
{

namespace
{

    [[noreturn]] void wrongType()
    {
        throw Exception(QStringLiteral("Incorrect type conversion."));
    }

}

Table *coreTable(const QString &name)
{
    ICore *core = ICore::instance();
    Database *database = core ? core->database() : nullptr;
    Table *table = database ? database->table(name) : nullptr;
    if (!table)
        qWarning("Selector: no table %s in the host's database", qPrintable(name));
    return table;
}

int readInt(const Table &table, const Record &record, int column)
{
    const Field &field = *table.dataPtr(record, column);
    if (!field.isPresent())
        return 0;
    switch (field.type()) {
    case FieldType::Int32:
        return field.toInt32();
    case FieldType::Int64: {
        const qint64 value = field.toInt64();
        return int(qBound<qint64>(std::numeric_limits<int>::min(), value, std::numeric_limits<int>::max()));
    }
    default:
        wrongType();
    }
}

qint64 readInt64(const Table &table, const Record &record, int column)
{
    const Field &field = *table.dataPtr(record, column);
    if (!field.isPresent())
        return 0;
    switch (field.type()) {
    case FieldType::Int32:
    case FieldType::Int64:
        return field.toInt64();
    default:
        wrongType();
    }
}

QString readText(const Table &table, const Record &record, int column)
{
    return table.dataPtr(record, column)->toString();
}

bool answers(const QModelIndex &index, const QAbstractItemModel *model, int rowCount)
{
    return index.row() >= 0 && index.column() >= 0 && index.model() == model && index.row() < rowCount;
}

Qt::ItemFlags itemFlags(const QModelIndex &index, bool checkMarks)
{
    if (!index.isValid())
        return Qt::NoItemFlags;
    Qt::ItemFlags flags = Qt::ItemIsSelectable | Qt::ItemIsEnabled;
    if (checkMarks)
        flags |= Qt::ItemIsUserCheckable;
    return flags;
}

QVariant checkState(bool checkMarks, bool checked)
{
    if (!checkMarks)
        return QVariant();
    return int(checked ? Qt::Checked : Qt::Unchecked);
}

int findItem(const QComboBox &box, const QVariant &value, int role)
{
    return box.findData(value, role, Qt::MatchExactly | Qt::MatchCaseSensitive);
}

int findText(const QComboBox &box, const QString &text)
{
    return findItem(box, text, Qt::DisplayRole);
}

QVariant dataForText(const QComboBox &box, const QString &text, int role)
{
    const int row = findText(box, text);
    return row < 0 ? QVariant() : box.itemData(row, role);
}

void selectItem(QComboBox &box, const QVariant &value, int role)
{
    const int row = findItem(box, value, role);
    box.setCurrentIndex(row);
    if (row < 0)
        box.setEditText(QString());
}

TextLookup::TextLookup(QAbstractItemModel *model, QObject *parent)
    : QObject(parent)
    , m_rows(CaseInsensitiveIndex::of(model))
{ }

int TextLookup::row(const QString &text) const
{
    return m_rows->firstRowEqualTo(text);
}

void useUniformRows(QComboBox &box)
{
    for (QAbstractItemView *view : { box.view(), box.completer() ? box.completer()->popup() : nullptr }) {
        if (auto *list = qobject_cast<QListView *>(view))
            list->setUniformItemSizes(true);
    }
}

void registerKeyTypes()
{
    qRegisterMetaType<Stocks>("Stocks");
    qRegisterMetaType<Boards>("Boards");
}

}
