#pragma once

#include <QObject>
#include <QSocketNotifier>
#include <QTimer>
#include <map>
#include <memory>

#include "platform/EventLoop.h"

// The server's loop on Qt's: socket notifiers and timers, so that modal dialogs, which run
// nested Qt loops, go on serving clients.
class QtEventLoop : public EventLoop {
  public:
    QtEventLoop();
    ~QtEventLoop() override;

    void WatchReadable(int fd, Callback onReadable) override;
    void Unwatch(int fd) override;
    TimerId StartTimer(int milliseconds, bool repeat, Callback onTimer) override;
    void StopTimer(TimerId id) override;
    void Run() override;
    void Quit() override;

  private:
    std::map<int, std::unique_ptr<QSocketNotifier>> m_notifiers;
    std::map<TimerId, std::unique_ptr<QTimer>> m_timers;
    TimerId m_nextTimer = 1;
};
