#include "velora/input/worker_pool.h"

#include "velora/utils/scope_guards.h"

namespace velora::input {

WorkerPool::WorkerPool(std::size_t threads) {
    const MiscUtils::ScopedSignalBlock noSignals;  // in the threads that are started here
    try {
        m_Threads.reserve(threads);
        for (std::size_t number = 0; number < threads; ++number) {
            m_Threads.emplace_back([this] { Work(); });
        }
    } catch (...) {
        Stop();
        throw;
    }
}

void WorkerPool::Stop() noexcept {
    {
        const std::lock_guard lock(m_Mutex);
        m_IsStopping = true;
    }
    m_HasTask.notify_all();
    m_Threads.clear();
}

void WorkerPool::Submit(Task& task) noexcept {
    {
        const std::lock_guard lock(m_Mutex);
        task.m_Queued = task.m_Place.begin();
        m_Queue.splice(m_Queue.end(), task.m_Place);
    }
    m_HasTask.notify_one();
}

void WorkerPool::RunNow(Task& task) {
    {
        const std::lock_guard lock(m_Mutex);
        if (!task.m_Place.empty()) {
            return;
        }
        task.m_Place.splice(task.m_Place.end(), m_Queue, task.m_Queued);
    }
    task.Run();
}

void WorkerPool::Work() {
    for (std::unique_lock lock(m_Mutex);;) {
        m_HasTask.wait(lock, [this] { return m_IsStopping || !m_Queue.empty(); });
        if (m_IsStopping) {
            return;
        }
        Task& task = *m_Queue.front();
        task.m_Place.splice(task.m_Place.end(), m_Queue, m_Queue.begin());
        lock.unlock();
        task.Run();
        lock.lock();
    }
}

}  // namespace velora::input
