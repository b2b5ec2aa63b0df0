#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <thread>
#include <utility>

#include "platform/FinishEvent.h"
#include "platform/Priority.h"

TEST(Priority, TheClassMovesEveryThreadAndEachKeepsItsLevel) {
    if (getuid() != 0) {
        GTEST_SKIP() << "raising a priority needs root";
    }
    FinishEvent started, finish;
    pid_t worker = 0;
    std::thread thread([&] {
        worker = CurrentThreadId();
        started.Set();
        finish.Wait();
    });
    started.Wait();
    const pid_t self = CurrentThreadId();
    SetThreadPriority(worker, ThreadPriority::AboveNormal);
    SetThreadPriority(self, ThreadPriority::BelowNormal);

    const auto nice = [&] {
        return std::pair(getpriority(PRIO_PROCESS, static_cast<id_t>(worker)),
                         getpriority(PRIO_PROCESS, static_cast<id_t>(self)));
    };
    SetProcessHighPriority(true);
    EXPECT_EQ(nice(), std::pair(-6, -4));
    SetProcessHighPriority(false);
    EXPECT_EQ(nice(), std::pair(-1, 1));

    SetThreadPriority(self, ThreadPriority::Normal);
    finish.Set();
    thread.join();
}
