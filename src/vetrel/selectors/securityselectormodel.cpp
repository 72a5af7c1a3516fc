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
#include <QScopedValueRollback>

static const SelectorData::FieldConstantSet fieldConstants;

namespace
{

int column(const Table *table, const char *name)
{
    return table ? table->columnIndex(QLatin1String(name)) : -1;
}

bool before(const SecuritySelectorModel::Data &a, const SecuritySelectorModel::Data &b)
{
    if (a.stockCode != b.stockCode)
        return a.stockCode < b.stockCode;
    if (a.boardCode != b.boardCode)
        return a.boardCode < b.boardCode;
    return a.secName < b.secName;
}

QVariant roleValue(const SecuritySelectorModel::Data &row, int role)
{
    switch (role) {
    case SecuritySelectorModel::StockCodeRole:
        return row.stockCode;
    case SecuritySelectorModel::BoardIdRole:
        return row.boardId;
    case SecuritySelectorModel::BoardCodeRole:
        return row.boardCode;
    case SecuritySelectorModel::SecurityIdRole:
        return row.secId;
    case SecuritySelectorModel::SecurityNameRole:
        return row.secName;
    case SecuritySelectorModel::SecurityCodeRole:
        return row.secCode;
    case SecuritySelectorModel::BaseCodeRole:
        return row.baseCode;
    default:
        return QVariant();
    }
}

}

SecuritySelectorModel::SecuritySelectorModel(QObject *parent)
    : QAbstractListModel(parent)
    , m_table(SelectorData::coreTable(QStringLiteral("securities")))
    , m_stockIdColumn(column(m_table, "stock_id"))
    , m_boardIdColumn(column(m_table, "board_id"))
    , m_secIdColumn(column(m_table, "sec_id"))
    , m_secNameColumn(column(m_table, "sec_name"))
    , m_secCodeColumn(column(m_table, "sec_code"))
    , m_baseCodeColumn(column(m_table, "base_code"))
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
    const QScopedValueRollback<bool> populating(m_populating, true);
    beginResetModel();
    if (m_table) {
        const Table &table = *m_table;
        // Few stocks and boards among many securities: each code is asked of
        // its directory once per refill, and the rows share its text.
        QHash<int, QString> stockCodes;
        QHash<QPair<int, int>, QString> boardCodes;
        const TableLocker locker(&table);
        SelectorData::fill(
            table, m_rows, [this](const Record &record) { return filter(record); },
            [this, &table, &stockCodes, &boardCodes](const Record &record) {
                Data row;
                const int stockId = SelectorData::readInt(table, record, m_stockIdColumn);
                row.boardId = SelectorData::readInt(table, record, m_boardIdColumn);
                auto stockCode = stockCodes.find(stockId);
                if (stockCode == stockCodes.end())
                    stockCode = stockCodes.insert(stockId, StockDirectory::codeById(stockId));
                row.stockCode = *stockCode;
                const QPair<int, int> board(stockId, row.boardId);
                auto boardCode = boardCodes.find(board);
                if (boardCode == boardCodes.end())
                    boardCode = boardCodes.insert(board, BoardDirectory::codeById(stockId, row.boardId));
                row.boardCode = *boardCode;
                row.secId = SelectorData::readInt64(table, record, m_secIdColumn);
                row.secName = SelectorData::readText(table, record, m_secNameColumn);
                row.secCode = SelectorData::readText(table, record, m_secCodeColumn);
                row.baseCode = SelectorData::readText(table, record, m_baseCodeColumn);
                return row;
            },
            before);
    } else {
        m_rows.clear();
    }
    endResetModel();
}

bool SecuritySelectorModel::filter(const Record &record) const
{
    return m_sessionFilter && m_sessionFilter->filter(record);
}

void SecuritySelectorModel::updateSessionsFilter()
{
    delete m_sessionFilter;
    m_sessionFilter = nullptr;
    if (!m_table)
        return;
    const int sessionColumn = m_table->columnIndex(QStringLiteral("sess_id"));
    const SecuritiesSessionFilter sessions(
        m_table, sessionColumn, { m_stockIdColumn, sessionColumn }, -1, nullptr);
    m_sessionFilter = sessions.createFilterFunc(this);
}

void SecuritySelectorModel::aNewSessions()
{
    // A decoder may announce again from a slot that the refill runs (a view
    // taking in the reset): the list is refilled once more afterwards rather
    // than torn down halfway.
    if (m_populating) {
        m_sessionsPending = true;
        return;
    }
    do {
        m_sessionsPending = false;
        updateSessionsFilter();
        try {
            populate();
        } catch (const Exception &error) {
            // Thrown out of a signal it would end the program; the rows read so
            // far are shown, and the reset is closed so that views stay sound.
            endResetModel();
            qWarning("SecuritySelectorModel: %s", qPrintable(error.message()));
            return;
        }
    } while (m_sessionsPending);
}

SecuritySelectorModel::ItemDataRole SecuritySelectorModel::defaultDataRole() const
{
    return m_defaultDataRole;
}

void SecuritySelectorModel::setDefaultDataRole(ItemDataRole role)
{
    if (role == m_defaultDataRole)
        return;
    m_defaultDataRole = role;
    if (!m_rows.isEmpty())
        emit dataChanged(index(0), index(m_rows.size() - 1), {});
}

Qt::ItemFlags SecuritySelectorModel::flags(const QModelIndex &index) const
{
    return SelectorData::itemFlags(index, false);
}

int SecuritySelectorModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : m_rows.size();
}

QVariant SecuritySelectorModel::data(const QModelIndex &index, int role) const
{
    if (!SelectorData::answers(index, this, m_rows.size())
        || !hasIndex(index.row(), index.column(), index.parent()))
        return QVariant();
    const Data &row = m_rows.at(index.row());
    const bool shown = role == Qt::DisplayRole || role == Qt::EditRole;
    return roleValue(row, shown ? int(m_defaultDataRole) : role);
}
