#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

// A manual-reset event: once set it stays set, and every wait on it returns at once.
class FinishEvent {
  public:
    void Set() {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_bSet = true;
        }
        m_cv.notify_all();
    }
    void Wait() {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_cv.wait(lock, [this] { return m_bSet; });
    }
    // True if the event was set within the time.
    bool WaitFor(std::chrono::milliseconds timeout) {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_cv.wait_for(lock, timeout, [this] { return m_bSet; });
    }

  private:
    std::mutex m_mutex;
    std::condition_variable m_cv;
    bool m_bSet = false;
};
