#include <vetrel/securityselectormodel.h>

#include "selectordata_p.h"

#include <host/boarddirectory.h>
#include <host/exception.h>
#include <host/icore.h>
#include <host/idecoder.h>
#include <host/lambdafilterfunc.h>
#include <host/securitiessessionfilter.h>
#include <host/stockdirectory.h>

#include <QHash>

#include <numeric>

static const SelectorData::FieldConstantSet fieldConstants;

namespace
{

using Data = SecuritySelectorModel::Data;
using Snapshot = SelectorData::Snapshot<Data>;
using Role = SecuritySelectorModel::ItemDataRole;

// The text member that a role shows as it is; nullptr for the numbers.
const QString *textMember(const Data &row, int role)
{
    switch (role) {
    case SecuritySelectorModel::StockCodeRole:
        return &row.stockCode;
    case SecuritySelectorModel::BoardCodeRole:
        return &row.boardCode;
    case SecuritySelectorModel::SecurityNameRole:
        return &row.secName;
    case SecuritySelectorModel::SecurityCodeRole:
        return &row.secCode;
    case SecuritySelectorModel::BaseCodeRole:
        return &row.baseCode;
    default:
        return nullptr;
    }
}

QVariant roleValue(const Data &row, int role)
{
    if (const QString *text = textMember(row, role))
        return *text;
    switch (role) {
    case SecuritySelectorModel::BoardIdRole:
        return row.boardId;
    case SecuritySelectorModel::SecurityIdRole:
        return row.secId;
    default:
        return QVariant();
    }
}

// What display shows under the default role, as text for the index.
QString shownText(const Data &row, Role role)
{
    const QString *text = textMember(row, role);
    return text ? *text : roleValue(row, role).toString();
}

// The rows in the order of the text member a role shows, whose texts
// `shown` has seen. Members are compared in place: a copy per comparison
// would cost two atomic counts each.
std::vector<int> memberOrder(const SelectorData::Rows<Data> &rows, Role role, RowOrder::Alphabet shown)
{
    return SelectorData::textOrder(
        rows, [role](const Data &row) -> const QString & { return *textMember(row, role); }, std::move(shown));
}

// The rows in the order of the texts they show.
std::vector<int> textOrder(const SelectorData::Rows<Data> &rows, Role role)
{
    if (textMember(Data(), role)) {
        const auto textAt = [&](int i) -> const QString & { return *textMember(rows[size_t(i)], role); };
        return memberOrder(rows, role, RowOrder::alphabetOf(int(rows.size()), textAt, true));
    }
    std::vector<QString> texts;
    texts.reserve(rows.size());
    for (const Data &row : rows)
        texts.push_back(shownText(row, role));
    return SelectorData::textOrder(texts, [](const QString &text) -> const QString & { return text; });
}

bool before(const Data &a, const Data &b)
{
    if (a.stockCode != b.stockCode)
        return a.stockCode < b.stockCode;
    if (a.boardCode != b.boardCode)
        return a.boardCode < b.boardCode;
    return a.secName < b.secName;
}

// Where and how a refill reads; copied to the worker, so it holds no model.
struct Source
{
    const Table *table = nullptr;
    int stockId = -1;
    int boardId = -1;
    int secId = -1;
    int secName = -1;
    int secCode = -1;
    int baseCode = -1;
};

// The few (stock, board) pairs among many securities: each pair's codes are
// asked of the directories once per refill and shared by its rows, and the
// pairs are ranked by their codes once, so that ordering the rows compares
// ranks instead of texts.
class Boards
{
public:
    int groupOf(int stockId, int boardId)
    {
        const quint64 key = (quint64(quint32(stockId)) << 32) | quint32(boardId);
        const auto found = m_groups.constFind(key);
        if (found != m_groups.cend())
            return *found;
        const int group = int(m_codes.size());
        m_groups.insert(key, group);
        m_codes.push_back({ StockDirectory::codeById(stockId), BoardDirectory::codeById(stockId, boardId) });
        return group;
    }
    const QString &stockCode(int group) const { return m_codes[size_t(group)].first; }
    const QString &boardCode(int group) const { return m_codes[size_t(group)].second; }

    /// Equal codes share a rank.
    std::vector<int> ranks() const
    {
        std::vector<int> order(m_codes.size());
        std::iota(order.begin(), order.end(), 0);
        std::sort(order.begin(), order.end(),
            [&](int a, int b) { return m_codes[size_t(a)] < m_codes[size_t(b)]; });
        std::vector<int> rank(m_codes.size());
        for (size_t i = 0; i < order.size(); ++i) {
            const bool same = i > 0 && m_codes[size_t(order[i])] == m_codes[size_t(order[i - 1])];
            rank[size_t(order[i])] = i == 0 ? 0 : rank[size_t(order[i - 1])] + (same ? 0 : 1);
        }
        return rank;
    }

private:
    QHash<quint64, int> m_groups;
    std::vector<QPair<QString, QString>> m_codes;
};

template<typename Accept>
Snapshot readSecurities(const Source &source, Accept accept, Role shown)
{
    Snapshot snapshot;
    Boards boards;
    std::vector<int> groupOf;
    const Table &table = *source.table;
    // The texts are learned while the walk has them at hand.
    RowOrder::Alphabet names(false);
    RowOrder::Alphabet shownTexts(true);
    const bool member = textMember(Data(), shown);
    SelectorData::walk(source.table, snapshot, accept, [&](const Record &record) {
        Data row;
        const int stockId = SelectorData::readInt(table, record, source.stockId);
        row.boardId = SelectorData::readInt(table, record, source.boardId);
        const int group = boards.groupOf(stockId, row.boardId);
        row.stockCode = boards.stockCode(group);
        row.boardCode = boards.boardCode(group);
        row.secId = SelectorData::readInt64(table, record, source.secId);
        row.secName = SelectorData::readText(table, record, source.secName);
        row.secCode = SelectorData::readText(table, record, source.secCode);
        row.baseCode = SelectorData::readText(table, record, source.baseCode);
        names.see(row.secName);
        if (member)
            shownTexts.see(*textMember(row, shown));
        groupOf.push_back(group);
        return row;
    });
    SelectorData::Rows<Data> &rows = snapshot.rows;
    const std::vector<int> rank = boards.ranks();
    const int rankBits = RowOrder::bitsFor(quint64(rank.empty() ? 0 : rank.size()));
    const auto nameAt = [&](int i) -> const QString & { return rows[size_t(i)].secName; };
    // Rows of one stock and board tie on the rank: their names go on.
    const auto positions = [&] {
        return RowOrder::sortedByText(
            int(rows.size()), nameAt, std::move(names),
            [&](int i) { return RowOrder::PrefixKey().add(quint64(rank[size_t(groupOf[size_t(i)])]), rankBits); },
            [&](int a, int b) { return before(rows[size_t(a)], rows[size_t(b)]); }, RowOrder::Ties::LaterFirst);
    };
    if (member) {
        snapshot.textOrder = SelectorData::orderRows(
            rows, positions, [shown](const Data &row) -> const QString & { return *textMember(row, shown); },
            std::move(shownTexts));
    } else {
        SelectorData::reorder(rows, positions());
        snapshot.textOrder = textOrder(rows, shown);
    }
    return snapshot;
}

}

class SecuritySelectorModelPrivate
{
public:
    explicit SecuritySelectorModelPrivate(SecuritySelectorModel *q)
        : q(q)
        , rows(q)
    {
        Table *table = SelectorData::coreTable(QStringLiteral("securities"));
        source
            = { table, SelectorData::columnOf(table, "stock_id"), SelectorData::columnOf(table, "board_id"),
                  SelectorData::columnOf(table, "sec_id"), SelectorData::columnOf(table, "sec_name"),
                  SelectorData::columnOf(table, "sec_code"), SelectorData::columnOf(table, "base_code") };
        rows.offerTexts(q, [this](const Data &row) { return shownText(row, defaultRole); });
    }

    void swapIn(Snapshot &snapshot, Role orderedRole)
    {
        // The role may have changed while a refill read the rows.
        if (orderedRole != defaultRole)
            snapshot.textOrder = textOrder(snapshot.rows, defaultRole);
        rows.swapIn(*q, snapshot);
    }

    SecuritySelectorModel *const q;
    SelectorData::FlatRows<Data> rows;
    Source source;
    LambdaFilterFunc *sessionFilter = nullptr;
    Role defaultRole = SecuritySelectorModel::SecurityNameRole;
    SelectorData::Refiller refiller;
};

SecuritySelectorModel::SecuritySelectorModel(QObject *parent)
    : QAbstractListModel(parent)
    , d(new SecuritySelectorModelPrivate(this))
{
    updateSessionsFilter();
    const ICore *core = ICore::instance();
    if (!core)
        return;
    for (QObject *plugin : core->plugins()) {
        // The interface is no QObject: its signal is reached by name.
        if (plugin && qobject_cast<IDecoder *>(plugin))
            connect(plugin, SIGNAL(aNewSessions()), this, SLOT(aNewSessions()));
    }
}

SecuritySelectorModel::~SecuritySelectorModel() = default;

void SecuritySelectorModel::populate()
{
    d->refiller.overtake();
    const Role role = d->defaultRole;
    Snapshot snapshot;
    if (d->source.table)
        snapshot = readSecurities(
            d->source, [this](const Record &record) { return filter(record); }, role);
    d->swapIn(snapshot, role);
}

bool SecuritySelectorModel::filter(const Record &record) const
{
    return d->sessionFilter && d->sessionFilter->filter(record);
}

void SecuritySelectorModel::updateSessionsFilter()
{
    delete d->sessionFilter;
    d->sessionFilter = nullptr;
    Table *table = const_cast<Table *>(d->source.table);
    if (!table)
        return;
    const int sessionColumn = table->columnIndex(QStringLiteral("sess_id"));
    const SecuritiesSessionFilter sessions(
        table, sessionColumn, { d->source.stockId, sessionColumn }, -1, nullptr);
    d->sessionFilter = sessions.createFilterFunc(this);
}

void SecuritySelectorModel::aNewSessions()
{
    updateSessionsFilter();
    if (!d->source.table)
        return;
    const Source source = d->source;
    const LambdaFilterFunc::Func sessions = d->sessionFilter->func();
    const Role role = d->defaultRole;
    d->refiller.start<Snapshot>([=] { return readSecurities(source, sessions, role); },
        [this, role](Snapshot &snapshot) {
            try {
                d->swapIn(snapshot, role);
            } catch (const Exception &error) {
                // Thrown into the event loop it would end the program; the
                // rows read before the error are shown.
                qWarning("SecuritySelectorModel: %s", qPrintable(error.message()));
            }
        });
}

SecuritySelectorModel::ItemDataRole SecuritySelectorModel::defaultDataRole() const
{
    return d->defaultRole;
}

void SecuritySelectorModel::setDefaultDataRole(ItemDataRole role)
{
    if (role == d->defaultRole)
        return;
    d->defaultRole = role;
    d->rows.textOrder = textOrder(d->rows.rows, role);
    if (rowCount() > 0)
        emit dataChanged(index(0), index(rowCount() - 1), {});
}

Qt::ItemFlags SecuritySelectorModel::flags(const QModelIndex &index) const
{
    return SelectorData::itemFlags(index, false);
}

int SecuritySelectorModel::rowCount(const QModelIndex &parent) const
{
    return d->rows.rowCount(parent);
}

QVariant SecuritySelectorModel::data(const QModelIndex &index, int role) const
{
    const Data *row = d->rows.answering(index);
    if (!row || !hasIndex(index.row(), index.column(), index.parent()))
        return QVariant();
    const bool shown = role == Qt::DisplayRole || role == Qt::EditRole;
    return roleValue(*row, shown ? int(d->defaultRole) : role);
}
