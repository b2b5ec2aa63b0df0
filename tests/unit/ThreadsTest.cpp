#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <set>
#include <thread>
#include <utility>
#include <vector>

#include "platform/FinishEvent.h"
#include "platform/Priority.h"
#include "platform/WorkerThread.h"

// Workers wait on events, so each run needs a thread of its own at once; a join waits for it.
TEST(WorkerThread, EveryRunHasAThreadOfItsOwnAndJoinWaitsForIt) {
    for (int round = 0; round < 3; ++round) {
        constexpr int kRuns = 40;
        FinishEvent gate;
        std::atomic<int> waiting{0};
        std::atomic<int> finished{0};
        std::vector<pid_t> ids(kRuns);
        std::vector<WorkerThread> runs;
        for (int i = 0; i < kRuns; ++i) {
            runs.emplace_back([&, i] {
                ids[static_cast<std::size_t>(i)] = CurrentThreadId();
                ++waiting;
                gate.Wait();
                std::this_thread::sleep_for(std::chrono::milliseconds(i % 3));
                ++finished;
            });
        }
        // All are blocked on the gate together: none was queued behind another.
        for (int spin = 0; spin < 2000 && waiting < kRuns; ++spin) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        ASSERT_EQ(waiting, kRuns);
        EXPECT_EQ(std::set<pid_t>(ids.begin(), ids.end()).size(), static_cast<std::size_t>(kRuns));
        gate.Set();
        for (int i = 0; i < kRuns; ++i) {
            runs[static_cast<std::size_t>(i)].Join();
            EXPECT_FALSE(runs[static_cast<std::size_t>(i)].Joinable());
        }
        EXPECT_EQ(finished, kRuns);
    }
}

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
