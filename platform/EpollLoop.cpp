#include "platform/EpollLoop.h"

#include <sys/epoll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <stdexcept>
#include <vector>

EpollLoop::EpollLoop() : m_epoll(epoll_create1(EPOLL_CLOEXEC)) {
    if (m_epoll < 0) {
        throw std::runtime_error("epoll_create1 failed");
    }
}

EpollLoop::~EpollLoop() {
    close(m_epoll);
}

void EpollLoop::WatchReadable(int fd, Callback onReadable) {
    const bool known = m_watches.count(fd) != 0;
    m_changedThisRound.insert(fd);
    m_watches[fd].onReadable = std::make_shared<Callback>(std::move(onReadable));
    Update(fd, known);
}

void EpollLoop::WatchWritable(int fd, Callback onWritable) {
    const bool known = m_watches.count(fd) != 0;
    m_changedThisRound.insert(fd);
    m_watches[fd].onWritable = std::make_shared<Callback>(std::move(onWritable));
    Update(fd, known);
}

void EpollLoop::Update(int fd, bool known) {
    auto it = m_watches.find(fd);
    if (!it->second.onReadable && !it->second.onWritable) {
        // Errors are reported even for no events: a descriptor nobody waits on is dropped.
        m_watches.erase(it);
        epoll_ctl(m_epoll, EPOLL_CTL_DEL, fd, nullptr);
        return;
    }
    epoll_event ev{};
    ev.events = (it->second.onReadable ? EPOLLIN : 0u) | (it->second.onWritable ? EPOLLOUT : 0u);
    ev.data.fd = fd;
    epoll_ctl(m_epoll, known ? EPOLL_CTL_MOD : EPOLL_CTL_ADD, fd, &ev);
}

void EpollLoop::Unwatch(int fd) {
    m_changedThisRound.insert(fd);
    if (m_watches.erase(fd) != 0) {
        epoll_ctl(m_epoll, EPOLL_CTL_DEL, fd, nullptr);
    }
}

EventLoop::TimerId EpollLoop::StartTimer(int milliseconds, bool repeat, Callback onTimer) {
    const auto period = std::chrono::milliseconds(std::max(milliseconds, 0));
    const TimerId id = m_nextTimer++;
    m_timers[id] = Timer{Clock::now() + period, period, repeat, std::move(onTimer)};
    return id;
}

void EpollLoop::StopTimer(TimerId id) {
    m_timers.erase(id);
}

void EpollLoop::Run() {
    m_bQuit = false;
    while (!m_bQuit) {
        RunOnce(-1);
    }
}

void EpollLoop::Quit() {
    m_bQuit = true;
}

int EpollLoop::NextTimerWaitMs(int timeoutMs) const {
    if (m_timers.empty()) {
        return timeoutMs;
    }
    auto earliest = Clock::time_point::max();
    for (const auto& [id, timer] : m_timers) {
        earliest = std::min(earliest, timer.due);
    }
    const auto now = Clock::now();
    const int untilTimer =
        earliest <= now ? 0
                        : static_cast<int>(
                              std::chrono::ceil<std::chrono::milliseconds>(earliest - now).count());
    return timeoutMs < 0 ? untilTimer : std::min(timeoutMs, untilTimer);
}

int EpollLoop::RunDueTimers() {
    const auto now = Clock::now();
    std::vector<TimerId> due;
    for (const auto& [id, timer] : m_timers) {
        if (timer.due <= now) {
            due.push_back(id);
        }
    }
    int ran = 0;
    for (TimerId id : due) {
        auto it = m_timers.find(id);
        if (it == m_timers.end()) {
            continue;  // stopped by an earlier callback
        }
        Callback callback = it->second.callback;
        if (it->second.repeat) {
            it->second.due = now + it->second.period;
        } else {
            m_timers.erase(it);
        }
        callback();
        ++ran;
    }
    return ran;
}

int EpollLoop::RunOnce(int timeoutMs) {
    constexpr int kMaxEvents = 64;
    epoll_event events[kMaxEvents];
    const int n = epoll_wait(m_epoll, events, kMaxEvents, NextTimerWaitMs(timeoutMs));
    m_changedThisRound.clear();
    int ran = 0;
    for (int i = 0; i < n; ++i) {
        const int fd = events[i].data.fd;
        auto it = m_watches.find(fd);
        if (it == m_watches.end() || m_changedThisRound.count(fd) != 0) {
            continue;  // closed or reused by an earlier callback of this round
        }
        // An error or hang-up ends a connect as much as it makes a read return.
        if ((events[i].events & ~std::uint32_t{EPOLLIN}) != 0 && it->second.onWritable) {
            std::shared_ptr<Callback> callback = std::move(it->second.onWritable);
            Update(fd, true);
            (*callback)();
            ++ran;
            it = m_watches.find(fd);
            if (it == m_watches.end() || m_changedThisRound.count(fd) != 0) {
                continue;
            }
        }
        if ((events[i].events & ~std::uint32_t{EPOLLOUT}) != 0 && it->second.onReadable) {
            std::shared_ptr<Callback> callback = it->second.onReadable;
            (*callback)();
            ++ran;
        }
    }
    return ran + RunDueTimers();
}
