#ifndef VETREL_SELECTORDATA_P_H
#define VETREL_SELECTORDATA_P_H

// What every selector model shares: typed field reads, the locked walk of a
// table, the flat one-column item protocol, check marks, the exact-text index
// of the rows and the refills that read a table away from the GUI thread.

#include <vetrel/caseinsensitiveindex_p.h>
#include <vetrel/reaper_p.h>
#include <vetrel/roworder_p.h>

#include <vetrel/selectortypes.h>

#include <host/fieldconstants.h>
#include <host/indexlist.h>
#include <host/record.h>
#include <host/table.h>
#include <host/tablelocker.h>

#include <QAbstractItemModel>
#include <QObject>
#include <QPair>
#include <QSocketNotifier>
#include <QTimer>

#include <condition_variable>
#include <exception>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

namespace SelectorData
{

using RowOrder::PrefixKey;
using RowOrder::Ties;

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
/// The column of that name; -1 without a table.
int columnOf(const Table *table, const char *name);

/// 32-bit read: absent is 0, 64-bit values saturate; other types throw
/// Exception("Incorrect type conversion.").
int readInt(const Table &table, const Record &record, int column);
/// 64-bit read: absent is 0, 32-bit values widen; other types throw.
qint64 readInt64(const Table &table, const Record &record, int column);
QString readText(const Table &table, const Record &record, int column);

/**
 * Begins a reset of the model and ends it on every way out, so that an
 * exception in between never leaves the model's views waiting for an end.
 */
class ResetGuard
{
public:
    explicit ResetGuard(QAbstractItemModel &model);
    ~ResetGuard();
    ResetGuard(const ResetGuard &) = delete;
    ResetGuard &operator=(const ResetGuard &) = delete;

private:
    QAbstractItemModel &m_model;
};

/// The rows of a list: a market's worth fills and drops them on every refill.
template<typename Row>
using Rows = std::vector<Row, HugePageAllocator<Row>>;

/// What a refill read: rows in list order, the rows ordered by their shown
/// texts ignoring case, and the error that stopped the walk (the rows before
/// it are kept).
template<typename Row>
struct Snapshot
{
    Rows<Row> rows;
    std::vector<int> textOrder;
    std::exception_ptr error;
};

/// The rows ordered by the text each shows, for the case-insensitive index;
/// `shown`, when given, has seen every row's text.
template<typename Rows, typename TextOf>
std::vector<int> textOrder(const Rows &rows, TextOf textOf, RowOrder::Alphabet shown)
{
    return RowOrder::caseInsensitiveOrder(
        int(rows.size()), [&](int i) -> decltype(auto) { return textOf(rows[size_t(i)]); }, std::move(shown));
}

template<typename Rows, typename TextOf>
std::vector<int> textOrder(const Rows &rows, TextOf textOf)
{
    return RowOrder::caseInsensitiveOrder(
        int(rows.size()), [&](int i) -> decltype(auto) { return textOf(rows[size_t(i)]); });
}

/**
 * Walks the table's master index under its lock; records that `accept`
 * takes are read by `read` into the snapshot. A throw ends the walk and is
 * kept in the snapshot.
 */
template<typename Row, typename Accept, typename Read>
void walk(const Table *table, Snapshot<Row> &snapshot, Accept accept, Read read)
{
    if (!table)
        return;
    const TableLocker locker(table);
    const IndexList &index = *table->masterIndex();
    snapshot.rows.reserve(size_t(index.count()));
    try {
        for (const Record *record : index) {
            if (accept(*record))
                snapshot.rows.push_back(read(*record));
        }
    } catch (...) {
        snapshot.error = std::current_exception();
    }
}

/// Puts the rows in the order of `positions` (as `sortedByText` gives them).
template<typename Row>
void reorder(Rows<Row> &rows, const std::vector<int> &positions)
{
    // A table keyed as the list is ordered gives its rows in place already.
    if (std::is_sorted(positions.begin(), positions.end()))
        return;
    Rows<Row> ordered;
    ordered.reserve(rows.size());
    for (int position : positions)
        ordered.push_back(std::move(rows[size_t(position)]));
    rows.swap(ordered);
}

/// From this many rows on, a fill makes its text order's keys on a second
/// thread and leaves the rows it replaced to another to free. Below, the
/// strings the threads share fit in the caches, and handing their lines
/// (and reference counts) from core to core costs as much as it saves.
constexpr size_t ParallelFrom = size_t(1) << 18;

/**
 * Puts the rows in the order `positions()` gives (as `sortedByText` gives
 * it) and returns the order of their shown texts, for the case-insensitive
 * index; `shown` has seen every row's text. The keys of that text order are
 * as much work as the list order, and need none of it: a large list has
 * them made on a second thread meanwhile.
 */
template<typename Row, typename Positions, typename TextOf>
std::vector<int> orderRows(Rows<Row> &rows, Positions positions, TextOf textOf, RowOrder::Alphabet shown)
{
    const int count = int(rows.size());
    const auto textAt = [&](int i) -> const QString & { return textOf(rows[size_t(i)]); };
    // Both threads only read the rows until the keys are made.
    const auto makeKeys = [&] { return RowOrder::caseInsensitiveKeys(count, textAt, std::move(shown)); };
    std::future<RowOrder::TextKeys> keysMade;
    if (rows.size() >= ParallelFrom) {
        try {
            keysMade = std::async(std::launch::async, makeKeys);
        } catch (const std::system_error &) { // no thread to be had: all here
        }
    }
    const std::vector<int> order = positions();
    const RowOrder::TextKeys keys = keysMade.valid() ? keysMade.get() : makeKeys();
    reorder(rows, order);
    return RowOrder::caseInsensitiveOrder(count, textAt, keys, [&](int i) { return order[size_t(i)]; });
}

/**
 * Reads a snapshot: the accepted records of the table, ordered by `less`,
 * each row before the earlier-read rows of equal key, and with the order of
 * `textOf`, the text a row shows. `lead(row)` gives the PrefixKey of the
 * fields that `less` compares before the row's `sortText`.
 */
template<typename Row, typename Accept, typename Read, typename SortText, typename Lead, typename Less,
    typename TextOf>
Snapshot<Row> readSnapshot(
    const Table *table, Accept accept, Read read, SortText sortText, Lead lead, Less less, TextOf textOf)
{
    Snapshot<Row> snapshot;
    // Both orders learn their texts while the walk has them at hand.
    RowOrder::Alphabet sorted(false);
    RowOrder::Alphabet shown(true);
    walk(table, snapshot, accept, [&](const Record &record) {
        Row row = read(record);
        sorted.see(sortText(row));
        shown.see(textOf(row));
        return row;
    });
    Rows<Row> &rows = snapshot.rows;
    const auto textAt = [&](int i) -> const QString & { return sortText(rows[size_t(i)]); };
    snapshot.textOrder = orderRows(
        rows,
        [&] {
            return RowOrder::sortedByText(
                int(rows.size()), textAt, std::move(sorted), [&](int i) { return lead(rows[size_t(i)]); },
                [&](int a, int b) { return less(rows[size_t(a)], rows[size_t(b)]); }, Ties::LaterFirst);
        },
        textOf, std::move(shown));
    return snapshot;
}

/// The rows of a flat, one-column selector model and the item protocol over them.
template<typename Row>
class FlatRows
{
public:
    explicit FlatRows(const QAbstractItemModel *model)
        : m_model(model)
    { }

    int rowCount(const QModelIndex &parent) const { return parent.isValid() ? 0 : int(rows.size()); }

    /// The row that data() answers for, or nullptr.
    const Row *answering(const QModelIndex &index) const
    {
        const bool valid = index.row() >= 0 && index.column() >= 0 && index.model() == m_model
            && index.row() < int(rows.size());
        return valid ? &rows[size_t(index.row())] : nullptr;
    }

    /// Swaps a snapshot in under one reset of `model`; the snapshot's error,
    /// if any, goes on after the reset has ended. Many old rows are freed
    /// elsewhere; a few are left in the snapshot, freed with it.
    void swapIn(QAbstractItemModel &model, Snapshot<Row> &snapshot)
    {
        {
            const ResetGuard reset(model);
            rows.swap(snapshot.rows);
            textOrder.swap(snapshot.textOrder);
        }
        if (snapshot.rows.size() >= ParallelFrom)
            Reaper::instance().free(std::make_shared<Rows<Row>>(std::move(snapshot.rows)));
        if (snapshot.error)
            std::rethrow_exception(snapshot.error);
    }

    /// Offers the text order to the boxes' indexes; `textOf` gives a row's
    /// shown text.
    template<typename TextOf>
    void offerTexts(QAbstractItemModel *model, TextOf textOf)
    {
        new PresortedTexts(
            model,
            [this, textOf](int row) {
                return row >= 0 && row < int(rows.size()) ? QString(textOf(rows[size_t(row)])) : QString();
            },
            textOrder);
    }

    Rows<Row> rows;
    std::vector<int> textOrder;

private:
    const QAbstractItemModel *m_model;
};

/// Registers the key-list types under the names the signals use.
void registerKeyTypes();

Qt::ItemFlags itemFlags(const QModelIndex &index, bool checkMarks);

/// The check state role's answer for a row, or an invalid value without marks.
QVariant checkState(bool checkMarks, bool checked);

/// What a setData() call did to the check marks.
enum class CheckChange
{
    None,
    Row,
    All
};

/**
 * setData() for the check-state role over rows with a `checked` member. A
 * valid index sets that row's mark (dataChanged follows); an invalid one
 * sets every mark inside one model reset.
 */
template<typename Row>
CheckChange setCheckMark(QAbstractItemModel &model, Rows<Row> &rows, bool checkMarks,
    const QModelIndex &index, const QVariant &value, int role)
{
    if (!checkMarks || role != Qt::CheckStateRole)
        return CheckChange::None;
    const bool on = value.toInt() != 0;
    if (!index.isValid()) {
        const ResetGuard reset(model);
        for (Row &row : rows)
            row.checked = on;
        return CheckChange::All;
    }
    if (index.row() >= int(rows.size()) || rows[size_t(index.row())].checked == on)
        return CheckChange::None;
    rows[size_t(index.row())].checked = on;
    emit model.dataChanged(index, index, {});
    return CheckChange::Row;
}

/// Tells the views that every row's check state changed.
void checkMarksSwitched(QAbstractItemModel &model, int rows);

/**
 * Flat rows that may carry check marks, as the stock and board lists do. The
 * single-shot timer is where the model hangs its announcement of the checked
 * keys, so that a burst of clicks is announced once.
 */
template<typename Row>
class CheckableRows : public FlatRows<Row>
{
public:
    explicit CheckableRows(QAbstractItemModel *model)
        : FlatRows<Row>(model)
        , m_target(model)
    {
        registerKeyTypes();
        timer.setSingleShot(true);
    }

    Qt::ItemFlags flags(const QModelIndex &index) const { return itemFlags(index, checkMarks); }
    QVariant checkState(const Row &row) const { return SelectorData::checkState(checkMarks, row.checked); }

    void setCheckMarks(bool on)
    {
        if (checkMarks == on)
            return;
        checkMarks = on;
        checkMarksSwitched(*m_target, int(this->rows.size()));
    }

    CheckChange setData(const QModelIndex &index, const QVariant &value, int role)
    {
        return setCheckMark(*m_target, this->rows, checkMarks, index, value, role);
    }

    QTimer timer;
    bool checkMarks = false;

private:
    QAbstractItemModel *const m_target;
};

/**
 * The keys of the checked rows, ascending and without duplicates, and
 * whether any row is unchecked (so that the keys restrict).
 */
template<typename Key, typename Row, typename KeyOf>
QPair<bool, QList<Key>> checkedKeys(const Rows<Row> &rows, KeyOf keyOf)
{
    QPair<bool, QList<Key>> result(false, {});
    for (const Row &row : rows) {
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
 * Runs a model's refills on a thread of its own, one at a time. Each start()
 * overtakes the refills asked for before it: a queued one never runs, and
 * the result of a running one is dropped instead of shown. Results are
 * applied in the thread that made the refiller, from its event loop; what
 * an applied or dropped result still holds (the rows it replaced) is freed
 * on the worker. The destructor waits for a running read, so the tables it
 * reads must outlive the model.
 */
class Refiller
{
public:
    Refiller();
    ~Refiller();

    /// `read` runs on the worker and must touch nothing of the model;
    /// `apply` runs later in the GUI thread unless overtaken.
    template<typename Result>
    void start(std::function<Result()> read, std::function<void(Result &)> apply)
    {
        post([read, apply]() -> std::function<void()> {
            auto result = std::make_shared<Result>(read());
            return [result, apply] { apply(*result); };
        });
    }

    /// Drops every refill asked for so far (a synchronous fill replaces them).
    void overtake();

private:
    /// Reads on the worker; what it returns applies the result.
    using Job = std::function<std::function<void()>()>;

    void post(Job job);
    /// Hands an unshown result to the worker to be freed; under the mutex.
    void dropFinished();
    void work();
    /// Applies the finished result, which nothing newer has overtaken.
    void deliver();

    // Results cross to the GUI thread under the mutex and the worker rings
    // an eventfd to wake it: both are visible to ThreadSanitizer, whereas
    // Qt's own event queue locks futexes it cannot see.
    std::mutex m_mutex;
    std::condition_variable m_wake;
    Job m_pending;
    quint64 m_latest = 0;
    quint64 m_pendingGeneration = 0;
    std::function<void()> m_finished;
    std::vector<std::function<void()>> m_spent; // freed by the worker
    bool m_stopping = false;
    int m_doorbell = -1;
    std::unique_ptr<QSocketNotifier> m_notifier;
    std::thread m_worker;
};

}

#endif
