#pragma once

#include <cstdint>
#include <functional>

// The one main loop: every socket notification and timer of the program runs through it.
class EventLoop {
  public:
    using Callback = std::function<void()>;
    using TimerId = std::uint64_t;

    virtual ~EventLoop() = default;

    // Calls onReadable on the loop's thread whenever fd has data; one watch per descriptor.
    virtual void WatchReadable(int fd, Callback onReadable) = 0;
    // Calls onWritable once, on the loop's thread, when fd can be written: a connect that has
    // finished or failed. Beside a readable watch of the same descriptor.
    virtual void WatchWritable(int fd, Callback onWritable) = 0;
    // Ends every watch of fd.
    virtual void Unwatch(int fd) = 0;

    // Periodic when repeat is set, else one-shot. A cancelled or spent id is ignored.
    virtual TimerId StartTimer(int milliseconds, bool repeat, Callback onTimer) = 0;
    virtual void StopTimer(TimerId id) = 0;

    virtual void Run() = 0;
    virtual void Quit() = 0;
};
