#pragma once

#include <cstdint>
#include <ctime>

// The present time in whole seconds, as the server core counts time-outs.
class Clock {
  public:
    virtual ~Clock() = default;
    virtual std::int64_t Seconds() const = 0;
};

class SystemClock : public Clock {
  public:
    std::int64_t Seconds() const override {
        timespec now{};
        clock_gettime(CLOCK_MONOTONIC, &now);
        return now.tv_sec;
    }
};
