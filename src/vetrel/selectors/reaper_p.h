#ifndef VETREL_REAPER_P_H
#define VETREL_REAPER_P_H

#include <condition_variable>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

namespace SelectorData
{

/**
 * One thread for the whole process, started on first use, that frees what
 * fills hand it: freeing a million replaced rows is a tenth or more of a
 * fill, and the caller need not wait for it. It and its queue are never
 * destroyed, as a fill may still hand it something while static objects go.
 */
class Reaper
{
public:
    static Reaper &instance()
    {
        static Reaper *const reaper = new Reaper;
        return *reaper;
    }

    /// Frees what `garbage` holds on the reaper's thread; here and now when
    /// that thread cannot be started.
    void free(std::shared_ptr<void> garbage)
    {
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            if (!m_started) {
                try {
                    std::thread(&Reaper::work, this).detach();
                } catch (const std::system_error &) {
                    return;
                }
                m_started = true;
            }
            m_queue.push_back(std::move(garbage));
        }
        m_wake.notify_one();
    }

private:
    void work()
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        for (;;) {
            m_wake.wait(lock, [this] { return !m_queue.empty(); });
            std::vector<std::shared_ptr<void>> batch;
            batch.swap(m_queue);
            lock.unlock();
            batch.clear();
            lock.lock();
        }
    }

    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::vector<std::shared_ptr<void>> m_queue;
    bool m_started = false;
};

}

#endif
