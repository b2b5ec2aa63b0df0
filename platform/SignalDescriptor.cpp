#include "platform/SignalDescriptor.h"

#include <signal.h>
#include <sys/signalfd.h>

int OpenSignalDescriptor(std::initializer_list<int> wanted) {
    sigset_t set;
    sigemptyset(&set);
    for (int sig : wanted) {
        sigaddset(&set, sig);
    }
    sigprocmask(SIG_BLOCK, &set, nullptr);
    signal(SIGPIPE, SIG_IGN);
    return signalfd(-1, &set, SFD_NONBLOCK | SFD_CLOEXEC);
}
