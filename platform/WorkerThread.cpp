#include "platform/WorkerThread.h"

#include <pthread.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <system_error>
#include <utility>
#include <vector>

struct WorkerThread::Run {
    std::function<void()> function;
    std::mutex mutex;
    std::condition_variable cv;
    bool bDone = false;
};

namespace {

// A worker needs a few pages of stack; a small one is also kept by the C library for reuse.
constexpr std::size_t kStackBytes = 128 * 1024;
// Idle threads kept, and how long one waits for a run before it ends.
constexpr std::size_t kMaxIdle = 64;
constexpr auto kIdleLife = std::chrono::seconds(30);
constexpr std::ptrdiff_t kSpares = 4;

class ThreadPool {
  public:
    // Never destroyed: idle threads may still wait on it while the process ends.
    static ThreadPool& Get() {
        static auto* pPool = new ThreadPool;
        return *pPool;
    }

    void Start(std::shared_ptr<WorkerThread::Run> pRun) {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            // The thread that ran last has the warmest stack.
            for (auto it = m_idle.rbegin(); it != m_idle.rend(); ++it) {
                if (!(*it)->pRun) {
                    (*it)->pRun = std::move(pRun);
                    (*it)->cv.notify_one();
                    return;
                }
            }
        }
        if (!StartThread(std::move(pRun))) {
            throw std::system_error(errno, std::generic_category(), "pthread_create");
        }
    }

  private:
    struct Idle {
        std::condition_variable cv;
        std::shared_ptr<WorkerThread::Run> pRun;
    };

    // A thread that takes pFirst, or goes idle at once when pFirst is null.
    static bool StartThread(std::shared_ptr<WorkerThread::Run> pFirst) {
        auto* pArg = new std::shared_ptr<WorkerThread::Run>(std::move(pFirst));
        pthread_attr_t attr;
        pthread_attr_init(&attr);
        pthread_attr_setstacksize(&attr, kStackBytes);
        pthread_attr_setdetachstate(&attr, PTHREAD_CREATE_DETACHED);
        pthread_t thread;
        const int error = pthread_create(&thread, &attr, &ThreadPool::Main, pArg);
        pthread_attr_destroy(&attr);
        if (error != 0) {
            delete pArg;
            errno = error;
            return false;
        }
        return true;
    }

    static void* Main(void* arg) {
        std::shared_ptr<WorkerThread::Run> pRun = std::move(*static_cast<decltype(pRun)*>(arg));
        delete static_cast<decltype(pRun)*>(arg);
        ThreadPool& pool = Get();
        if (!pRun) {
            pRun = pool.WaitForRun(true);
        }
        while (pRun) {
            pool.KeepSpare();
            pRun->function();
            pRun->function = nullptr;
            {
                std::lock_guard<std::mutex> lock(pRun->mutex);
                pRun->bDone = true;
            }
            pRun->cv.notify_all();
            pRun = pool.WaitForRun(false);
        }
        return nullptr;
    }

    // Idle threads are topped up here, off the path of the next request; a few are kept ahead
    // because a burst of requests takes threads faster than one spare at a time can start.
    void KeepSpare() {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            const auto nFree =
                std::count_if(m_idle.begin(), m_idle.end(), [](const auto& p) { return !p->pRun; });
            if (nFree + m_nSparesStarting >= kSpares) {
                return;
            }
            ++m_nSparesStarting;
        }
        if (!StartThread(nullptr)) {
            std::lock_guard<std::mutex> lock(m_mutex);
            --m_nSparesStarting;
        }
    }

    // The next run for this thread, or null when none came in time or enough threads wait.
    std::shared_ptr<WorkerThread::Run> WaitForRun(bool bSpare) {
        std::unique_lock<std::mutex> lock(m_mutex);
        if (bSpare) {
            --m_nSparesStarting;
        }
        if (m_idle.size() >= kMaxIdle) {
            return nullptr;
        }
        m_idle.push_back(std::make_unique<Idle>());
        Idle& me = *m_idle.back();
        me.cv.wait_for(lock, kIdleLife, [&me] { return me.pRun != nullptr; });
        std::shared_ptr<WorkerThread::Run> pRun = std::move(me.pRun);
        std::erase_if(m_idle, [&me](const std::unique_ptr<Idle>& p) { return p.get() == &me; });
        return pRun;
    }

    std::mutex m_mutex;
    std::vector<std::unique_ptr<Idle>> m_idle;
    int m_nSparesStarting = 0;
};

}  // namespace

WorkerThread::WorkerThread(std::function<void()> run) : m_pRun(std::make_shared<Run>()) {
    m_pRun->function = std::move(run);
    ThreadPool::Get().Start(m_pRun);
}

WorkerThread& WorkerThread::operator=(WorkerThread&& other) noexcept {
    if (this != &other) {
        Join();
        m_pRun = std::move(other.m_pRun);
    }
    return *this;
}

WorkerThread::~WorkerThread() {
    Join();
}

void WorkerThread::Join() {
    if (!m_pRun) {
        return;
    }
    std::unique_lock<std::mutex> lock(m_pRun->mutex);
    m_pRun->cv.wait(lock, [this] { return m_pRun->bDone; });
    lock.unlock();
    m_pRun.reset();
}
