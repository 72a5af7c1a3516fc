#include "selectordata_p.h"

#include <host/database.h>
#include <host/exception.h>
#include <host/field.h>
#include <host/icore.h>

#include <cerrno>
#include <cstring>
#include <limits>

#include <sys/eventfd.h>
#include <unistd.h>

namespace SelectorData
{

namespace
{

    [[noreturn]] void wrongType()
    {
        throw Exception(QStringLiteral("Incorrect type conversion."));
    }

    // Opens the protected reset calls of QAbstractItemModel to the guard.
    struct ResetAccess : QAbstractItemModel
    {
        using QAbstractItemModel::beginResetModel;
        using QAbstractItemModel::endResetModel;
    };

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

int columnOf(const Table *table, const char *name)
{
    return table ? table->columnIndex(QLatin1String(name)) : -1;
}

int readInt(const Table &table, const Record &record, int column)
{
    const Field &field = *table.dataPtr(record, column);
    if (!field.isPresent())
        return 0;
    switch (field.type()) {
    case FieldType::Int32:
        return field.toInt32();
    case FieldType::Int64:
        return int(qBound<qint64>(
            std::numeric_limits<int>::min(), field.toInt64(), std::numeric_limits<int>::max()));
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

ResetGuard::ResetGuard(QAbstractItemModel &model)
    : m_model(model)
{
    (m_model.*&ResetAccess::beginResetModel)();
}

ResetGuard::~ResetGuard()
{
    (m_model.*&ResetAccess::endResetModel)();
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

void checkMarksSwitched(QAbstractItemModel &model, int rows)
{
    if (rows > 0)
        emit model.dataChanged(model.index(0, 0), model.index(rows - 1, 0), { Qt::CheckStateRole });
}

Refiller::Refiller()
    : m_doorbell(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    if (m_doorbell < 0) {
        qWarning(
            "Selector: no eventfd for background refills (%s); refills run at once", std::strerror(errno));
        return;
    }
    m_notifier.reset(new QSocketNotifier(m_doorbell, QSocketNotifier::Read));
    QObject::connect(m_notifier.get(), &QSocketNotifier::activated, [this] { deliver(); });
}

Refiller::~Refiller()
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_stopping = true;
        m_pending = nullptr;
    }
    m_wake.notify_one();
    if (m_worker.joinable())
        m_worker.join();
    m_notifier.reset();
    if (m_doorbell >= 0)
        ::close(m_doorbell);
}

void Refiller::post(Job job)
{
    if (m_doorbell < 0) {
        overtake();
        job()();
        return;
    }
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_pending = std::move(job);
        dropFinished(); // a result not yet shown is overtaken too
        m_pendingGeneration = ++m_latest;
        if (!m_worker.joinable())
            m_worker = std::thread(&Refiller::work, this);
    }
    m_wake.notify_one();
}

void Refiller::dropFinished()
{
    if (m_finished)
        m_spent.push_back(std::move(m_finished));
    m_finished = nullptr;
}

void Refiller::work()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    for (;;) {
        m_wake.wait(lock, [this] { return m_stopping || m_pending || !m_spent.empty(); });
        if (m_stopping)
            return;
        std::vector<std::function<void()>> spent;
        spent.swap(m_spent);
        Job job = std::move(m_pending);
        m_pending = nullptr;
        const quint64 generation = m_pendingGeneration;
        lock.unlock();
        std::function<void()> finish = job ? job() : nullptr;
        // Freeing a million replaced rows takes as long as reading them: it
        // waits until the new ones are read.
        spent.clear();
        lock.lock();
        if (!finish)
            continue;
        if (generation != m_latest) {
            m_spent.push_back(std::move(finish)); // overtaken: dropped, and freed here
            continue;
        }
        m_finished = std::move(finish);
        const quint64 one = 1;
        if (::write(m_doorbell, &one, sizeof one) < 0 && errno != EAGAIN)
            qWarning("Selector: cannot wake the GUI thread for a refill: %s", std::strerror(errno));
    }
}

void Refiller::deliver()
{
    quint64 rings = 0;
    while (::read(m_doorbell, &rings, sizeof rings) < 0 && errno == EINTR) { }
    std::function<void()> finish;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        finish.swap(m_finished);
    }
    if (!finish)
        return;
    finish();
    // It now holds the rows it replaced.
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_spent.push_back(std::move(finish));
    }
    m_wake.notify_one();
}

void Refiller::overtake()
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_pending = nullptr;
        dropFinished();
        ++m_latest;
    }
    m_wake.notify_one();
}

void registerKeyTypes()
{
    qRegisterMetaType<Stocks>("Stocks");
    qRegisterMetaType<Boards>("Boards");
}

}
