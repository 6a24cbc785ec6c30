// PipePump: one thread that waits for other processes, for everybody who would have to.
//
// It waits with poll(2) for any number of descriptors, so that a pipe that gives nothing holds up
// nobody but those who need its bytes. Descriptors are left as they are: O_NONBLOCK belongs to the
// description, which other processes may share. The thread takes no signals.

#pragma once

#include <cstddef>
#include <list>
#include <mutex>
#include <thread>
#include <vector>

#include <poll.h>

#include "velora/utils/scope_guards.h"

namespace velora::input {

class PipePump {
 public:
    // Something that waits for bytes.
    class Waiter {
     public:
        Waiter() = default;
        virtual ~Waiter() = default;
        Waiter(const Waiter&) = delete;
        Waiter& operator=(const Waiter&) = delete;

        // Called in the pump's thread when a read will not wait, or will fail: has to read what is
        // there, without waiting. True ends the waiting, false goes on with it. Throws nothing.
        [[nodiscard]] virtual bool Readable() = 0;

     private:
        friend class PipePump;
        struct Waiting {
            Waiter* waiter;
            int fd;
        };
        std::list<Waiting> m_Place{{this, -1}};  // its element is lent to the pump while it waits
    };

    // For at most `waiters` at once. Throws std::system_error when the thread or its wake-up cannot
    // be had, and std::bad_alloc.
    explicit PipePump(std::size_t waiters);
    // Ends the waiting; no waiter is called any more.
    ~PipePump();
    PipePump(const PipePump&) = delete;
    PipePump& operator=(const PipePump&) = delete;

    // Calls `waiter`, which is not waiting yet, as soon as `fd` can be read. Any thread may ask.
    void Await(int fd, Waiter& waiter) noexcept;

 private:
    void Pump();
    void Wake();

    std::mutex m_Mutex;
    std::list<Waiter::Waiting> m_New;
    bool m_IsStopping = false;
    MiscUtils::UniqueFd m_WakeUp;  // an eventfd
    std::vector<pollfd> m_Polled;  // the wake-up, then those that are waited for
    std::jthread m_Thread;
};

}  // namespace velora::input
