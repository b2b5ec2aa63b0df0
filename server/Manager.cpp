#include "server/Manager.h"

#include <chrono>
#include <system_error>

#include "platform/Priority.h"
#include "server/ClientSocket.h"

CManager::CManager() = default;

CManager::~CManager() {
    if (m_thread.Joinable()) {
        // The thread's only wait is on this event, so the join returns at once.
        m_hFinishEvent->Set();
        m_thread.Join();
    }
}

bool CManager::Start(const ThreadLauncher& launch) {
    m_hFinishEvent = std::make_unique<FinishEvent>();
    m_bRunning = true;
    try {
        m_thread = launch([this] {
            m_tid = CurrentThreadId();
            // A new thread takes its creator's nice value; a worker starts at the normal level.
            SetThreadPriority(m_tid, ThreadPriority::Normal);
            m_threadStarted.Set();
            m_hFinishEvent->Wait();
            m_bRunning = false;
            m_threadEnded.Set();
        });
    } catch (const std::system_error&) {
        m_bRunning = false;
        return false;
    }
    return true;
}

pid_t CManager::ThreadId() {
    // The thread's id must stand before anyone sets its priority.
    m_threadStarted.Wait();
    return m_tid.load();
}

void CManager::CreateSocket(CServerApp& app) {
    m_pSocket = std::make_unique<CClientSocket>(app);
    m_bStopped = 0;
}

void CManager::Stop() {
    m_bStopped = 1;
    m_pSocket.reset();
    if (m_hFinishEvent) {
        m_hFinishEvent->Set();
    }
}

void CManager::End() {
    Stop();
    // Waiting for the thread's own end, not only for the event Stop has just set, lets the
    // caller take the entry off the table in the same pass.
    if (!m_threadEnded.WaitFor(std::chrono::milliseconds(500))) {
        m_threadEnded.WaitFor(std::chrono::milliseconds(1000));
    }
}
