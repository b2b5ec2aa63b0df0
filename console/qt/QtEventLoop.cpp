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

void QtEventLoop::WatchWritable(int fd, Callback onWritable) {
    auto notifier = std::make_unique<QSocketNotifier>(fd, QSocketNotifier::Write);
    QObject::connect(notifier.get(), &QSocketNotifier::activated,
                     [this, fd, callback = std::move(onWritable)] {
                         auto it = m_writeNotifiers.find(fd);
                         if (it == m_writeNotifiers.end()) {
                             return;
                         }
                         // Once: forget it before the call, which may watch the descriptor anew.
                         const Callback once = callback;
                         Retire(std::move(it->second));
                         m_writeNotifiers.erase(it);
                         once();
                     });
    if (auto it = m_writeNotifiers.find(fd); it != m_writeNotifiers.end()) {
        Retire(std::move(it->second));
    }
    m_writeNotifiers[fd] = std::move(notifier);
}

void QtEventLoop::Unwatch(int fd) {
    for (auto* notifiers : {&m_notifiers, &m_writeNotifiers}) {
        auto it = notifiers->find(fd);
        if (it != notifiers->end()) {
            Retire(std::move(it->second));
            notifiers->erase(it);
        }
    }
}

void QtEventLoop::Retire(std::unique_ptr<QSocketNotifier> notifier) {
    notifier->setEnabled(false);
    notifier.release()->deleteLater();
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
