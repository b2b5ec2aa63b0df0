#pragma once

#include <cstddef>
#include <functional>
#include <memory>

// One run of a function on a thread of its own, joinable like a thread. The thread comes from a
// pool: one whose last run has ended waits a while for the next instead of ending, since making
// a thread costs more than the short wait of a worker that only waits.
class WorkerThread {
  public:
    WorkerThread() = default;
    // Starts run on an idle thread or a new one; throws std::system_error when none can be had.
    explicit WorkerThread(std::function<void()> run);
    WorkerThread(WorkerThread&& other) noexcept = default;
    WorkerThread& operator=(WorkerThread&& other) noexcept;
    WorkerThread(const WorkerThread&) = delete;
    WorkerThread& operator=(const WorkerThread&) = delete;
    // Joins a run that was not joined.
    ~WorkerThread();

    bool Joinable() const { return m_pRun != nullptr; }
    // Waits until the run's function has returned.
    void Join();

    struct Run;

  private:
    std::shared_ptr<Run> m_pRun;
};
