// WorkerPool: a few threads that run short tasks in the order in which they were handed in.
//
// A task never waits for another process or another task, so no number of slow inputs can hold up
// the others: what has to wait is handed in again once it need not.
//
// Any thread may hand tasks in. The pool's own threads take no signals.

#pragma once

#include <condition_variable>
#include <cstddef>
#include <list>
#include <mutex>
#include <thread>
#include <vector>

namespace velora::input {

class WorkerPool {
 public:
    // Something to do, made again and again.
    class Task {
     public:
        Task() = default;
        virtual ~Task() = default;
        Task(const Task&) = delete;
        Task& operator=(const Task&) = delete;

        // Called in a thread of the pool. Throws nothing.
        virtual void Run() = 0;

     private:
        friend class WorkerPool;
        std::list<Task*> m_Place{this};  // its element is lent to the queue while it is queued
        std::list<Task*>::iterator m_Queued;
    };

    // Throws std::system_error when a thread cannot be had.
    explicit WorkerPool(std::size_t threads);
    ~WorkerPool() { Stop(); }
    WorkerPool(const WorkerPool&) = delete;
    WorkerPool& operator=(const WorkerPool&) = delete;

    // Hands in a task that is neither queued nor running, or is just at its end; it stays the
    // caller's.
    void Submit(Task& task) noexcept;

    // Runs a task in the calling thread if it is still queued: whoever needs it next need not wait
    // for its turn.
    void RunNow(Task& task);

    // Waits for the tasks that are running. Those still queued, or handed in later, are not run.
    void Stop() noexcept;

 private:
    void Work();

    std::mutex m_Mutex;
    std::condition_variable m_HasTask;
    std::list<Task*> m_Queue;
    bool m_IsStopping = false;
    std::vector<std::jthread> m_Threads;
};

}  // namespace velora::input
