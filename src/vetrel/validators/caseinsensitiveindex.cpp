#include <vetrel/caseinsensitiveindex_p.h>

#include <QAbstractItemModel>
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
    const int rows = m_model->rowCount();
    m_texts.assign(size_t(rows), QString());
    m_order.resize(size_t(rows));
    for (int row = 0; row < rows; ++row) {
        m_texts[size_t(row)] = m_model->index(row, 0).data(Qt::DisplayRole).toString();
        m_order[size_t(row)] = row;
    }
    std::stable_sort(m_order.begin(), m_order.end(), [this](int a, int b) {
        return m_texts[size_t(a)].compare(m_texts[size_t(b)], Qt::CaseInsensitive) < 0;
    });
    m_positions.resize(size_t(rows));
    for (int position = 0; position < rows; ++position)
        m_positions[size_t(m_order[size_t(position)])] = position;
    // Leaves at [rows, 2 rows), each inner node the least of its two children.
    m_firstRow.resize(2 * size_t(rows));
    std::copy(m_order.begin(), m_order.end(), m_firstRow.begin() + rows);
    for (int node = rows - 1; node > 0; --node)
        m_firstRow[size_t(node)] = std::min(m_firstRow[2 * size_t(node)], m_firstRow[2 * size_t(node) + 1]);
}

int CaseInsensitiveIndex::size()
{
    ensureFresh();
    return int(m_order.size());
}

int CaseInsensitiveIndex::rowAt(int position)
{
    ensureFresh();
    return position >= 0 && position < int(m_order.size()) ? m_order[size_t(position)] : -1;
}

int CaseInsensitiveIndex::positionOf(int row)
{
    ensureFresh();
    return row >= 0 && row < int(m_positions.size()) ? m_positions[size_t(row)] : -1;
}

std::pair<int, int> CaseInsensitiveIndex::prefixRange(const QString &prefix)
{
    ensureFresh();
    const auto first = std::lower_bound(m_order.begin(), m_order.end(), prefix,
        [this](int row, const QString &p) { return comparePrefix(m_texts[size_t(row)], p) < 0; });
    const auto last = std::upper_bound(first, m_order.end(), prefix,
        [this](const QString &p, int row) { return comparePrefix(m_texts[size_t(row)], p) > 0; });
    return { int(first - m_order.begin()), int(last - m_order.begin()) };
}

int CaseInsensitiveIndex::firstRowStartingWith(const QString &prefix)
{
    auto [from, to] = prefixRange(prefix);
    if (from == to)
        return -1;
    const size_t leaves = m_order.size();
    int least = m_order[size_t(from)];
    for (size_t low = size_t(from) + leaves, high = size_t(to) + leaves; low < high; low /= 2, high /= 2) {
        if (low & 1)
            least = std::min(least, m_firstRow[low++]);
        if (high & 1)
            least = std::min(least, m_firstRow[--high]);
    }
    return least;
}

int CaseInsensitiveIndex::firstRowEqualTo(const QString &text)
{
    // Texts equal ignoring case open the prefix range, in row order among
    // themselves, so the first exact one met is the first in the model.
    const auto [from, to] = prefixRange(text);
    for (int position = from; position < to; ++position) {
        const QString &candidate = m_texts[size_t(m_order[size_t(position)])];
        if (candidate.size() != text.size())
            break;
        if (candidate == text)
            return m_order[size_t(position)];
    }
    return -1;
}

QString CaseInsensitiveIndex::text(int row)
{
    ensureFresh();
    return row >= 0 && row < int(m_texts.size()) ? m_texts[size_t(row)] : QString();
}
