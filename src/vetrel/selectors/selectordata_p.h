#ifndef VETREL_SELECTORDATA_P_H
#define VETREL_SELECTORDATA_P_H

// What every selector model does with the host's tables: typed field reads,
// the locked walk that fills the rows in key order, check marks and the keys
// of the checked rows.

#include <vetrel/selectortypes.h>

#include <host/fieldconstants.h>
#include <host/indexlist.h>
#include <host/record.h>
#include <host/table.h>
#include <host/tablelocker.h>

#include <QAbstractItemModel>
#include <QComboBox>
#include <QList>
#include <QSortFilterProxyModel>
#include <QString>

#include <algorithm>
#include <vector>

class CaseInsensitiveIndex;

namespace SelectorData
{

/// First role of the selector models' own item data.
constexpr int FirstRole = Qt::UserRole + 1;

// The database's code sets; each selector file builds its own copy at load.
// The type has internal linkage so that each file's copy reads that file's own
// constants, which are initialised before it; a shared inline constructor
// would read one file's constants from every file, before they exist.
namespace
{
struct FieldConstantSet
{
    FieldConstValue statusOpen = FieldConstants::Status::Open;
    FieldConstValue statusClosed = FieldConstants::Status::Closed;
    FieldConstValue statusSuspended = FieldConstants::Status::Suspended;
    FieldConstValue sideBuy = FieldConstants::Side::Buy;
    FieldConstValue sideSell = FieldConstants::Side::Sell;
    FieldConstValue anonymous = FieldConstants::Anonymity::Anonymous;
    FieldConstValue named = FieldConstants::Anonymity::Named;
    FieldConstValue call = FieldConstants::OptionType::Call;
    FieldConstValue put = FieldConstants::OptionType::Put;
    FieldConstValue share = FieldConstants::SecurityType::Share;
    FieldConstValue bond = FieldConstants::SecurityType::Bond;
    FieldConstValue future = FieldConstants::SecurityType::Future;
    FieldConstValue option = FieldConstants::SecurityType::Option;
    FieldConstValue currency = FieldConstants::SecurityType::Currency;
    FieldConstValue repo = FieldConstants::SecurityType::Repo;
};
}

/// The named table of the current core; nullptr without a core or table.
Table *coreTable(const QString &name);

/// 32-bit read: absent is 0, 64-bit values saturate; other types throw
/// Exception("Incorrect type conversion.").
int readInt(const Table &table, const Record &record, int column);
/// 64-bit read: absent is 0, 32-bit values widen; other types throw.
qint64 readInt64(const Table &table, const Record &record, int column);
QString readText(const Table &table, const Record &record, int column);

/// The row an item-model index names, when data() may answer for it.
bool answers(const QModelIndex &index, const QAbstractItemModel *model, int rowCount);

Qt::ItemFlags itemFlags(const QModelIndex &index, bool checkMarks);

/**
 * The order of one-by-one insertion at the lower bound of equal keys:
 * ascending by key, equal keys in the reverse of walk order. Returns the
 * positions of `rows` in that order; sorting positions moves ints, not rows.
 */
template<typename Data, typename Less>
std::vector<int> insertionOrder(const std::vector<Data> &rows, Less less)
{
    std::vector<int> order(rows.size());
    for (size_t i = 0; i < order.size(); ++i)
        order[i] = int(order.size() - 1 - i);
    const auto before = [&](int a, int b) { return less(rows[size_t(a)], rows[size_t(b)]); };
    // Walk order reversed: a stable sort now keeps later rows first among equals.
    if (!std::is_sorted(order.begin(), order.end(), before))
        std::stable_sort(order.begin(), order.end(), before);
    return order;
}

/**
 * Replaces `rows` with the accepted records of the table's master index, read
 * by `read` and ordered by `less`, each new row before the rows of equal key.
 * The caller holds the table's lock (TableLocker) around this call. A read
 * that throws leaves the rows read so far in place, in order, and the
 * exception goes on.
 */
template<typename Data, typename Accept, typename Read, typename Less>
void fill(const Table &table, QList<Data> &rows, Accept accept, Read read, Less less)
{
    rows.clear();
    const IndexList &index = *table.masterIndex();
    std::vector<Data> taken;
    taken.reserve(size_t(index.count()));
    const auto keep = [&] {
        rows.reserve(int(taken.size()));
        for (int position : insertionOrder(taken, less))
            rows.append(taken[size_t(position)]);
    };
    try {
        for (const Record *record : index) {
            if (accept(*record))
                taken.push_back(read(*record));
        }
    } catch (...) {
        keep();
        throw;
    }
    keep();
}

/// What a setData() call did to the check marks.
enum class CheckChange
{
    None,
    Row,
    All
};

/**
 * setData() for the check-state role over rows whose Data begins with
 * `bool checked`. A valid index sets that row's mark (dataChanged follows);
 * an invalid one sets every mark inside a model reset done by `reset`.
 */
template<typename Data, typename Reset>
CheckChange setCheckMark(QAbstractItemModel &model, QList<Data> &rows, bool checkMarks,
    const QModelIndex &index, const QVariant &value, int role, Reset reset)
{
    if (!checkMarks || role != Qt::CheckStateRole)
        return CheckChange::None;
    const bool on = value.toInt() != 0;
    if (!index.isValid()) {
        reset([&] {
            for (Data &row : rows)
                row.checked = on;
        });
        return CheckChange::All;
    }
    if (index.row() >= rows.size() || rows.at(index.row()).checked == on)
        return CheckChange::None;
    rows[index.row()].checked = on;
    emit model.dataChanged(index, index, {});
    return CheckChange::Row;
}

/// The check state role's answer for a row, or an invalid value without marks.
QVariant checkState(bool checkMarks, bool checked);

/**
 * The keys of the checked rows, ascending and without duplicates, and
 * whether any row is unchecked (so that the keys restrict).
 */
template<typename Key, typename Data, typename KeyOf>
QPair<bool, QList<Key>> checkedKeys(const QList<Data> &rows, KeyOf keyOf)
{
    QPair<bool, QList<Key>> result(false, {});
    for (const Data &row : rows) {
        if (!row.checked) {
            result.first = true;
            continue;
        }
        const Key key = keyOf(row);
        QList<Key> &keys = result.second;
        const auto at = std::lower_bound(keys.begin(), keys.end(), key);
        if (at == keys.end() || *at != key)
            keys.insert(at, key);
    }
    return result;
}

/**
 * Finds the first row of a model by its exact display text without reading
 * every row: the model's case-insensitive index narrows it to the texts equal
 * ignoring case. The index learns of a change before anyone connected later
 * hears of it, so a box's own handlers never see stale rows. Create it right
 * after the model is set.
 */
class TextLookup : public QObject
{
public:
    TextLookup(QAbstractItemModel *model, QObject *parent);
    /// The first row showing exactly `text` (case-sensitive); -1 when none.
    int row(const QString &text) const;

private:
    CaseInsensitiveIndex *m_rows;
};

/// The first item of the box whose data under `role` equals `value` exactly
/// (text compared case-sensitively); -1 when there is none.
int findItem(const QComboBox &box, const QVariant &value, int role);
/// The first item whose display text is `text`, case-sensitively; -1 when none.
int findText(const QComboBox &box, const QString &text);

/// The data under `role` of the first item whose display text is `text`
/// (case-sensitive); an invalid value when there is none.
QVariant dataForText(const QComboBox &box, const QString &text, int role);

/// Selects the first item whose data under `role` equals `value`; with none,
/// nothing is selected and the edit text is cleared.
void selectItem(QComboBox &box, const QVariant &value, int role);

/**
 * Gives the proxy a new source model owned by `owner`, filled afresh. The old
 * source is detached first (the box's view resets, so no stale row stays
 * selected) and then deleted.
 */
template<typename Model>
void replaceSource(QSortFilterProxyModel &proxy, Model *model, QObject *owner)
{
    QAbstractItemModel *old = proxy.sourceModel();
    if (old != model) {
        proxy.setSourceModel(nullptr);
        delete old;
    }
    if (!model)
        return;
    model->setParent(owner);
    model->populate();
    proxy.setSourceModel(model);
}

/// What becomes of the box's choice when its rows change.
enum class Choice
{
    Clear,
    Keep
};

/**
 * Keeps a selector box's rows and choice in step with its model. QComboBox
 * picks a row by itself when its model resets or when rows come and go under
 * the current one; a selector box must not report a choice the user never
 * made. While `change` runs the box's edit notices are held back (`quiet`);
 * then the box keeps the item it showed, if it is still listed and `choice`
 * allows, or selects nothing, and the outcome is announced once.
 */
template<typename Change, typename Announce>
void changeRows(QComboBox &box, bool &quiet, Choice choice, Change change, Announce announce)
{
    const QString shown = box.currentIndex() >= 0 ? box.currentText() : QString();
    const bool wasQuiet = quiet;
    quiet = true;
    change();
    box.setCurrentIndex(choice == Choice::Keep && !shown.isEmpty() ? findText(box, shown) : -1);
    quiet = wasQuiet;
    if (!quiet)
        announce(box.currentText());
}

/// Lists of a hundred thousand rows open in one pass over the rows instead of
/// measuring each row: every item of a selector is one line of text.
void useUniformRows(QComboBox &box);

/// Registers the key-list types under the names the signals use.
void registerKeyTypes();

}

#endif
