#include "console/qt/QtEventLoop.h"

#include <QCoreApplication>

QtEventLoop::QtEventLoop() = default;

QtEventLoop::~QtEventLoop() = default;

void QtEventLoop::WatchReadable(int fd, Callback onReadable) {
    auto notifier = std::make_unique<QSocketNotifier>(fd, QSocketNotifier::Read);
    QObject::connect(notifier.get(), &QSocketNotifier::activated,
                     [callback = std::move(onReadable)] { callback(); });
    m_notifiers[fd] = std::move(notifier);
}

void QtEventLoop::Unwatch(int fd) {
    auto it = m_notifiers.find(fd);
    if (it == m_notifiers.end()) {
        return;
    }
    // The notifier may be the one whose signal is running: disable now, delete when Qt is done.
    it->second->setEnabled(false);
    it->second.release()->deleteLater();
    m_notifiers.erase(it);
}

EventLoop::TimerId QtEventLoop::StartTimer(int milliseconds, bool repeat, Callback onTimer) {
    const TimerId id = m_nextTimer++;
    auto timer = std::make_unique<QTimer>();
    timer->setSingleShot(!repeat);
    timer->setInterval(milliseconds);
    QObject::connect(timer.get(), &QTimer::timeout,
                     [this, id, repeat, callback = std::move(onTimer)] {
                         if (!repeat) {
                             // Spent: forget it before the call, which may start new timers.
                             StopTimer(id);
                         }
                         callback();
                     });
    timer->start();
    m_timers[id] = std::move(timer);
    return id;
}

void QtEventLoop::StopTimer(TimerId id) {
    auto it = m_timers.find(id);
    if (it == m_timers.end()) {
        return;
    }
    it->second->stop();
    it->second.release()->deleteLater();
    m_timers.erase(it);
}

void QtEventLoop::Run() {
    QCoreApplication::exec();
}

void QtEventLoop::Quit() {
    QCoreApplication::quit();
}
