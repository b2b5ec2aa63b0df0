#include "platform/Priority.h"

#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

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
    g_classNice = bHigh ? -5 : 0;
    setpriority(PRIO_PROCESS, static_cast<id_t>(getpid()), g_classNice);
}
