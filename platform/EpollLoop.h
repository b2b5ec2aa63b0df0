#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <unordered_map>
#include <unordered_set>

#include "platform/EventLoop.h"

// EventLoop on epoll, for the daemon and the tests.
class EpollLoop : public EventLoop {
  public:
    EpollLoop();
    ~EpollLoop() override;
    EpollLoop(const EpollLoop&) = delete;
    EpollLoop& operator=(const EpollLoop&) = delete;

    void WatchReadable(int fd, Callback onReadable) override;
    void WatchWritable(int fd, Callback onWritable) override;
    void Unwatch(int fd) override;
    TimerId StartTimer(int milliseconds, bool repeat, Callback onTimer) override;
    void StopTimer(TimerId id) override;
    void Run() override;
    void Quit() override;

    // Waits at most timeoutMs for events and dispatches what is ready; returns how many ran.
    int RunOnce(int timeoutMs);

  private:
    using Clock = std::chrono::steady_clock;
    struct Timer {
        Clock::time_point due;
        std::chrono::milliseconds period;
        bool repeat;
        Callback callback;
    };

    struct Watch {
        std::shared_ptr<Callback> onReadable;
        std::shared_ptr<Callback> onWritable;  // once
    };

    // Tells epoll which events the descriptor's watches want.
    void Update(int fd, bool known);
    int NextTimerWaitMs(int timeoutMs) const;
    int RunDueTimers();

    int m_epoll;
    bool m_bQuit = false;
    // Shared so a callback that unwatches its own descriptor does not destroy itself mid-call.
    std::unordered_map<int, Watch> m_watches;
    // Descriptors watched or unwatched during a round: their pending events are stale.
    std::unordered_set<int> m_changedThisRound;
    std::map<TimerId, Timer> m_timers;
    TimerId m_nextTimer = 1;
};
