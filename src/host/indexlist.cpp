#include "indexlist.h"

#include "record.h"
#include "table.h"

IndexList::const_iterator::const_iterator(Part *const *part, Record *const *position, Part *const *lastPart)
    : m_part(part)
    , m_position(position)
    , m_lastPart(lastPart)
{
    settle();
}

IndexList::const_iterator &IndexList::const_iterator::operator++()
{
    ++m_position;
    settle();
    return *this;
}

void IndexList::const_iterator::settle()
{
    while (m_part != m_lastPart && m_position == (*m_part)->end()) {
        ++m_part;
        m_position = (*m_part)->begin();
    }
}

IndexList::IndexList(Table *table)
    : m_table(table)
{
    m_parts.append(new Part);
}

IndexList::~IndexList()
{
    freeAll();
    qDeleteAll(m_parts);
}

Record *IndexList::at(int position) const
{
    if (position < 0 || position >= m_count)
        return nullptr;
    const Location l = locate(position);
    return m_parts[l.part]->at(l.offset);
}

int IndexList::position(const Record &record) const
{
    int position = 0;
    for (const Part *part : m_parts) {
        for (Record *r : *part) {
            if (r == &record)
                return position;
            ++position;
        }
    }
    return -1;
}

IndexList::const_iterator IndexList::begin() const
{
    return const_iterator(m_parts.constData(), m_parts.first()->begin(), &m_parts.constLast());
}

IndexList::const_iterator IndexList::end() const
{
    return const_iterator(&m_parts.constLast(), m_parts.constLast()->end(), &m_parts.constLast());
}

void IndexList::clear()
{
    freeAll();
    qDeleteAll(m_parts);
    m_parts = { new Part };
    m_count = 0;
}

void IndexList::removeRanges(const RangeSet<int> &ranges)
{
    // Walk the ranges from the back so that earlier positions stay valid.
    const auto &list = ranges.ranges();
    for (auto range = list.crbegin(); range != list.crend(); ++range) {
        int to = std::min(range->second, m_count);
        const int from = std::max(range->first, 0);
        while (to > from) {
            const Location l = locate(to - 1);
            Part *part = m_parts[l.part];
            const int partFrom = std::max(0, l.offset - (to - 1 - from));
            for (int i = partFrom; i <= l.offset; ++i)
                m_table->freeRow(part->at(i));
            part->remove(partFrom, l.offset + 1);
            m_count -= l.offset + 1 - partFrom;
            to -= l.offset + 1 - partFrom;
            if (part->isEmpty() && m_parts.size() > 1) {
                delete part;
                m_parts.remove(l.part);
            }
        }
    }
}

bool IndexList::remove(Record *record, int position)
{
    if (position == -1)
        position = this->position(*record);
    if (position < 0 || at(position) != record)
        return false;
    RangeSet<int> one;
    one.add(position);
    removeRanges(one);
    return true;
}

void IndexList::assign(std::vector<Record *> records)
{
    clear();
    if (records.empty())
        return;
    qDeleteAll(m_parts);
    m_parts.clear();
    m_count = int(records.size());
    // Half-full parts leave room for inserts without an early split.
    constexpr std::size_t fill = partCapacity / 2;
    for (std::size_t from = 0; from < records.size(); from += fill) {
        const std::size_t to = std::min(records.size(), from + fill);
        m_parts.append(new Part(std::vector<Record *>(records.begin() + from, records.begin() + to)));
    }
}

void IndexList::insertAt(int position, Record *record)
{
    const Location l = locate(position);
    Part *part = m_parts[l.part];
    part->insert(l.offset, record);
    ++m_count;
    if (part->count() > partCapacity)
        m_parts.insert(l.part + 1, part->splitOff(part->count() / 2));
}

void IndexList::replaceAt(int position, Record *record)
{
    const Location l = locate(position);
    m_table->freeRow(m_parts[l.part]->at(l.offset));
    m_parts[l.part]->replace(l.offset, record);
}

IndexList::Location IndexList::locate(int position) const
{
    int part = 0;
    while (part < m_parts.size() - 1 && position >= m_parts[part]->count()) {
        position -= m_parts[part]->count();
        ++part;
    }
    return { part, position };
}

void IndexList::freeAll()
{
    for (const Part *part : qAsConst(m_parts)) {
        for (Record *r : *part)
            m_table->freeRow(r);
    }
}
