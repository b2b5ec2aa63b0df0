#pragma once

#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>

#include "platform/FinishEvent.h"
#include "platform/WorkerThread.h"

class CClientSocket;
class CServerApp;

// Starts a thread running the function; throws std::system_error when none can be had.
using ThreadLauncher = std::function<WorkerThread(std::function<void()>)>;

// The worker of one client: a thread that waits for its finish event and touches nothing else.
// It gives the client a place in the client table, an end that can be watched, and a priority.
class CManager {
  public:
    CManager();
    ~CManager();
    CManager(const CManager&) = delete;
    CManager& operator=(const CManager&) = delete;

    // Starts the thread; it waits on the finish event, which exists before the thread runs.
    // False when no thread could be started. Returns without waiting for the thread to run, so
    // that the client's first reply does not wait for it either.
    bool Start(const ThreadLauncher& launch);
    // Makes the client socket on the main thread and clears m_bStopped.
    void CreateSocket(CServerApp& app);
    // Sets m_bStopped, destroys the socket, sets the finish event.
    void Stop();
    // Stop, then wait for the thread 500 ms and, if that runs out, 1000 ms more.
    void End();

    // What GetExitCodeThread tells: the thread still runs.
    bool IsRunning() const { return m_bRunning.load(); }
    // Waits for a thread just started to have run far enough to know its id.
    pid_t ThreadId();

    std::uint8_t m_bStopped = 0;
    std::unique_ptr<CClientSocket> m_pSocket;
    std::unique_ptr<FinishEvent> m_hFinishEvent;

  private:
    FinishEvent m_threadStarted;
    FinishEvent m_threadEnded;
    WorkerThread m_thread;
    std::atomic<bool> m_bRunning{false};
    std::atomic<pid_t> m_tid{0};
};
