#include "platform/Priority.h"

#include <dirent.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

namespace {
// Nice value of the process's priority class; thread levels are counted from it.
int g_classNice = 0;
}  // namespace

pid_t CurrentThreadId() {
    return static_cast<pid_t>(syscall(SYS_gettid));
}

void SetThreadPriority(pid_t tid, ThreadPriority priority) {
    // A higher nice value is a lower priority.
    setpriority(PRIO_PROCESS, static_cast<id_t>(tid), g_classNice - static_cast<int>(priority));
}

void SetProcessHighPriority(bool bHigh) {
    const int oldClass = g_classNice;
    g_classNice = bHigh ? -5 : 0;
    // Linux keeps a nice value per thread: the class moves every thread of the process, each
    // keeping its level within the class.
    DIR* tasks = opendir("/proc/self/task");
    if (tasks == nullptr) {
        return;
    }
    while (const dirent* entry = readdir(tasks)) {
        const id_t tid = static_cast<id_t>(std::strtol(entry->d_name, nullptr, 10));
        if (tid == 0) {
            continue;
        }
        errno = 0;
        const int nice = getpriority(PRIO_PROCESS, tid);
        if (errno == 0) {
            setpriority(PRIO_PROCESS, tid, g_classNice + (nice - oldClass));
        }
    }
    closedir(tasks);
}
