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
    void WatchWritable(int fd, Callback onWritable) override;
    void Unwatch(int fd) override;
    TimerId StartTimer(int milliseconds, bool repeat, Callback onTimer) override;
    void StopTimer(TimerId id) override;
    void Run() override;
    void Quit() override;

  private:
    // Disables the notifier now and deletes it once Qt is done with it: it may be the one whose
    // signal is running.
    static void Retire(std::unique_ptr<QSocketNotifier> notifier);

    std::map<int, std::unique_ptr<QSocketNotifier>> m_notifiers;
    std::map<int, std::unique_ptr<QSocketNotifier>> m_writeNotifiers;
    std::map<TimerId, std::unique_ptr<QTimer>> m_timers;
    TimerId m_nextTimer = 1;
};
