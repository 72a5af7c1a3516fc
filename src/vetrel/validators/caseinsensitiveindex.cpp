#include <vetrel/caseinsensitiveindex_p.h>

#include <vetrel/roworder_p.h>

#include <QAbstractItemModel>
#include <QSortFilterProxyModel>
#include <QTimer>

#include <algorithm>

namespace
{

// The first `length` code units of `text` against `prefix`, ignoring case:
// negative, zero or positive as the text's start sorts before, equal to or
// after the prefix.
int comparePrefix(const QString &text, const QString &prefix)
{
    return QStringView(text).left(prefix.size()).compare(QStringView(prefix), Qt::CaseInsensitive);
}

}

PresortedTexts::PresortedTexts(QAbstractItemModel *model, TextOf textOf, const std::vector<int> &order)
    : QObject(model)
    , m_textOf(std::move(textOf))
    , m_order(order)
{ }

const PresortedTexts *PresortedTexts::of(const QAbstractItemModel *model)
{
    if (!model)
        return nullptr;
    for (const QObject *child : model->children()) {
        if (const auto *texts = dynamic_cast<const PresortedTexts *>(child))
            return texts;
    }
    return nullptr;
}

std::vector<int> PresortedTexts::rowsShowing(const QString &text) const
{
    return RowOrder::positionsShowing(m_order, text, m_textOf);
}

CaseInsensitiveIndex *CaseInsensitiveIndex::of(QAbstractItemModel *model)
{
    if (!model)
        return nullptr;
    if (auto *index = model->findChild<CaseInsensitiveIndex *>(QString(), Qt::FindDirectChildrenOnly))
        return index;
    return new CaseInsensitiveIndex(model);
}

CaseInsensitiveIndex::CaseInsensitiveIndex(QAbstractItemModel *model)
    : QObject(model)
    , m_model(model)
{
    watch();
}

void CaseInsensitiveIndex::watch()
{
    using Model = QAbstractItemModel;
    connect(m_model, &Model::modelAboutToBeReset, this, &CaseInsensitiveIndex::beginChange);
    connect(m_model, &Model::layoutAboutToBeChanged, this, &CaseInsensitiveIndex::beginChange);
    connect(m_model, &Model::rowsAboutToBeInserted, this, &CaseInsensitiveIndex::beginChange);
    connect(m_model, &Model::rowsAboutToBeRemoved, this, &CaseInsensitiveIndex::beginChange);
    connect(m_model, &Model::rowsAboutToBeMoved, this, &CaseInsensitiveIndex::beginChange);
    connect(m_model, &Model::modelReset, this, &CaseInsensitiveIndex::endChange);
    connect(m_model, &Model::layoutChanged, this, &CaseInsensitiveIndex::endChange);
    connect(m_model, &Model::rowsInserted, this, &CaseInsensitiveIndex::endChange);
    connect(m_model, &Model::rowsRemoved, this, &CaseInsensitiveIndex::endChange);
    connect(m_model, &Model::rowsMoved, this, &CaseInsensitiveIndex::endChange);
    connect(m_model, &Model::dataChanged, this, [this](const QModelIndex &topLeft) {
        if (topLeft.column() > 0)
            return;
        beginChange();
        endChange();
    });
}

void CaseInsensitiveIndex::beginChange()
{
    if (m_changing)
        return;
    m_changing = true;
    emit aboutToChange();
}

void CaseInsensitiveIndex::endChange()
{
    if (!m_changing)
        return;
    m_changing = false;
    m_stale = true;
    emit changed();
    // Many small changes in a row (a box filled item by item) are read once.
    if (!m_rebuildPosted) {
        m_rebuildPosted = true;
        QTimer::singleShot(0, this, [this] {
            m_rebuildPosted = false;
            ensureFresh();
        });
    }
}

void CaseInsensitiveIndex::ensureFresh()
{
    if (m_stale && !m_changing)
        rebuild();
}

void CaseInsensitiveIndex::rebuild()
{
    m_stale = false;
    m_presorted = nullptr;
    m_borrowsOrder = false;
    m_order.clear();
    m_sourceRows.clear();
    m_texts.clear();
    // What only some questions need is made on the first of them, so that a
    // refill costs the GUI thread no more than taking the order.
    m_positions.clear();
    m_firstRow.clear();
    if (!takePresorted())
        sortOwnTexts();
}

const std::vector<int> &CaseInsensitiveIndex::positions()
{
    ensureFresh();
    const std::vector<int> &rows = order();
    if (m_positions.size() != rows.size()) {
        m_positions.resize(rows.size());
        for (size_t position = 0; position < rows.size(); ++position)
            m_positions[size_t(rows[position])] = int(position);
    }
    return m_positions;
}

const std::vector<int> &CaseInsensitiveIndex::firstRows()
{
    ensureFresh();
    const std::vector<int> &byText = order();
    const size_t rows = byText.size();
    if (m_firstRow.size() != 2 * rows) {
        // Leaves at [rows, 2 rows), each inner node the least of its two children.
        m_firstRow.resize(2 * rows);
        std::copy(byText.begin(), byText.end(), m_firstRow.begin() + std::ptrdiff_t(rows));
        for (size_t node = rows - 1; node > 0 && node < rows; --node)
            m_firstRow[node] = std::min(m_firstRow[2 * node], m_firstRow[2 * node + 1]);
    }
    return m_firstRow;
}

bool CaseInsensitiveIndex::takePresorted()
{
    // The model's own order is read in place: copying a million rows would
    // hold the GUI thread on every refill.
    m_presorted = PresortedTexts::of(m_model);
    if (m_presorted) {
        m_borrowsOrder = true;
        return true;
    }
    auto *proxy = qobject_cast<QSortFilterProxyModel *>(m_model);
    m_presorted = proxy ? PresortedTexts::of(proxy->sourceModel()) : nullptr;
    if (!m_presorted)
        return false;
    const std::vector<int> &sourceOrder = m_presorted->order();
    const int rows = proxy->rowCount();
    // An unsorted proxy that lets every row through shows its source as it is.
    if (proxy->sortColumn() < 0 && rows == int(sourceOrder.size())) {
        m_borrowsOrder = true;
        return true;
    }
    m_sourceRows.assign(size_t(rows), -1);
    m_order.reserve(size_t(rows));
    if (proxy->sortColumn() >= 0) {
        // A sorted proxy is asked where each row went.
        QAbstractItemModel *source = proxy->sourceModel();
        for (int sourceRow : sourceOrder) {
            const int row = proxy->mapFromSource(source->index(sourceRow, 0)).row();
            if (row >= 0 && row < rows) {
                m_order.push_back(row);
                m_sourceRows[size_t(row)] = sourceRow;
            }
        }
        return true;
    }
    // An unsorted one shows the rows it lets through in its source's order.
    std::vector<int> rowOfSource(sourceOrder.size(), -1);
    for (int row = 0; row < rows; ++row) {
        const int sourceRow = proxy->mapToSource(proxy->index(row, 0)).row();
        m_sourceRows[size_t(row)] = sourceRow;
        if (sourceRow >= 0 && sourceRow < int(rowOfSource.size()))
            rowOfSource[size_t(sourceRow)] = row;
    }
    for (int sourceRow : sourceOrder) {
        if (rowOfSource[size_t(sourceRow)] >= 0)
            m_order.push_back(rowOfSource[size_t(sourceRow)]);
    }
    return true;
}

void CaseInsensitiveIndex::sortOwnTexts()
{
    const int rows = m_model->rowCount();
    m_texts.resize(size_t(rows));
    for (int row = 0; row < rows; ++row)
        m_texts[size_t(row)] = m_model->index(row, 0).data(Qt::DisplayRole).toString();
    m_order = RowOrder::caseInsensitiveOrder(
        rows, [this](int row) -> const QString & { return m_texts[size_t(row)]; });
}

QString CaseInsensitiveIndex::textAt(int row) const
{
    if (!m_texts.empty())
        return m_texts[size_t(row)];
    return m_presorted ? m_presorted->text(m_sourceRows.empty() ? row : m_sourceRows[size_t(row)])
                       : QString();
}

int CaseInsensitiveIndex::size()
{
    ensureFresh();
    return int(order().size());
}

int CaseInsensitiveIndex::rowAt(int position)
{
    ensureFresh();
    const std::vector<int> &rows = order();
    return position >= 0 && position < int(rows.size()) ? rows[size_t(position)] : -1;
}

int CaseInsensitiveIndex::positionOf(int row)
{
    const std::vector<int> &positionOfRow = positions();
    return row >= 0 && row < int(positionOfRow.size()) ? positionOfRow[size_t(row)] : -1;
}

std::pair<int, int> CaseInsensitiveIndex::prefixRange(const QString &prefix)
{
    ensureFresh();
    const std::vector<int> &rows = order();
    const auto first = std::lower_bound(rows.begin(), rows.end(), prefix,
        [this](int row, const QString &p) { return comparePrefix(textAt(row), p) < 0; });
    const auto last = std::upper_bound(first, rows.end(), prefix,
        [this](const QString &p, int row) { return comparePrefix(textAt(row), p) > 0; });
    return { int(first - rows.begin()), int(last - rows.begin()) };
}

int CaseInsensitiveIndex::firstRowStartingWith(const QString &prefix)
{
    auto [from, to] = prefixRange(prefix);
    if (from == to)
        return -1;
    const std::vector<int> &tree = firstRows();
    const size_t leaves = order().size();
    int least = order()[size_t(from)];
    for (size_t low = size_t(from) + leaves, high = size_t(to) + leaves; low < high; low /= 2, high /= 2) {
        if (low & 1)
            least = std::min(least, tree[low++]);
        if (high & 1)
            least = std::min(least, tree[--high]);
    }
    return least;
}

int CaseInsensitiveIndex::firstRowEqualTo(const QString &text)
{
    // Texts equal ignoring case open the prefix range. Among them the rows
    // need not stand in model order (a sorted proxy's order is taken over
    // from its source), so the least exact row wins.
    const auto [from, to] = prefixRange(text);
    int first = -1;
    for (int position = from; position < to; ++position) {
        const int row = order()[size_t(position)];
        const QString candidate = textAt(row);
        if (candidate.size() != text.size())
            break;
        if (candidate == text && (first < 0 || row < first))
            first = row;
    }
    return first;
}

const std::vector<int> &CaseInsensitiveIndex::order() const
{
    static const std::vector<int> none;
    if (!m_borrowsOrder)
        return m_order;
    // A borrowed order goes with the model that offered it.
    return m_presorted ? m_presorted->order() : none;
}

QString CaseInsensitiveIndex::text(int row)
{
    ensureFresh();
    return row >= 0 && row < int(order().size()) ? textAt(row) : QString();
}
