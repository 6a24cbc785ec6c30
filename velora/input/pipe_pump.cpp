#include "velora/input/pipe_pump.h"

#include <cerrno>
#include <cstdint>
#include <system_error>

#include <sys/eventfd.h>
#include <unistd.h>

namespace velora::input {

PipePump::PipePump(std::size_t waiters) : m_WakeUp(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (!m_WakeUp) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
    m_Polled.reserve(waiters + 1);
    const MiscUtils::ScopedSignalBlock noSignals;  // in the thread that is started here
    m_Thread = std::jthread([this] { Pump(); });
}

PipePump::~PipePump() {
    {
        const std::lock_guard lock(m_Mutex);
        m_IsStopping = true;
    }
    Wake();
}

void PipePump::Await(int fd, Waiter& waiter) noexcept {
    {
        const std::lock_guard lock(m_Mutex);
        waiter.m_Place.front().fd = fd;
        m_New.splice(m_New.end(), waiter.m_Place);
    }
    Wake();
}

void PipePump::Wake() {
    const std::uint64_t one = 1;
    static_cast<void>(!write(m_WakeUp.Get(), &one, sizeof one));
}

void PipePump::Pump() {
    std::list<Waiter::Waiting> waiting;
    for (;;) {
        {
            const std::lock_guard lock(m_Mutex);
            if (m_IsStopping) {
                return;
            }
            waiting.splice(waiting.end(), m_New);
        }
        m_Polled.assign(1, {m_WakeUp.Get(), POLLIN, 0});
        for (const Waiter::Waiting& one : waiting) {
            m_Polled.push_back({one.fd, POLLIN, 0});
        }
        if (poll(m_Polled.data(), m_Polled.size(), -1) < 0) {
            continue;  // no memory at the moment: signals do not come here
        }
        std::uint64_t count = 0;
        static_cast<void>(!read(m_WakeUp.Get(), &count, sizeof count));
        auto polled = m_Polled.begin() + 1;
        for (auto one = waiting.begin(); one != waiting.end(); ++polled) {
            Waiter& waiter = *one->waiter;
            const auto here = one++;
            if (polled->revents != 0) {
                // Its element goes back first: the waiter may ask again at once.
                waiter.m_Place.splice(waiter.m_Place.end(), waiting, here);
                if (!waiter.Readable()) {
                    waiting.splice(one, waiter.m_Place);
                }
            }
        }
    }
}

}  // namespace velora::input
