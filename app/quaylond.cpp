// quaylond: the Quaylon TFTP server without a window.
#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cstdio>
#include <vector>

#include "app/DaemonOperator.h"
#include "app/LongOptions.h"
#include "app/StatusPrinter.h"
#include "console/ClientListModel.h"
#include "platform/Clock.h"
#include "platform/EpollLoop.h"
#include "server/ServerApp.h"

namespace {

constexpr int kTickMs = 5000;
constexpr int kFlushMs = 500;

// Signals arrive through a descriptor, so they are handled on the loop like everything else.
int OpenSignalDescriptor() {
    sigset_t set;
    sigemptyset(&set);
    for (int sig : {SIGTERM, SIGINT, SIGUSR1, SIGUSR2}) {
        sigaddset(&set, sig);
    }
    sigprocmask(SIG_BLOCK, &set, nullptr);
    signal(SIGPIPE, SIG_IGN);
    return signalfd(-1, &set, SFD_NONBLOCK | SFD_CLOEXEC);
}

}  // namespace

int main(int argc, char** argv) {
    const LongOptions options = ParseLongOptions(argc, argv);
    if (!options.error.empty()) {
        std::fprintf(stderr, "quaylond: %s\n", options.error.c_str());
        std::fprintf(stderr, kUsage, "quaylond");
        return 2;
    }
    if (options.bHelp) {
        std::printf(kUsage, "quaylond");
        return 0;
    }
    if (options.bVersion) {
        std::printf("%s\n", kVersion);
        return 0;
    }

    const int signals = OpenSignalDescriptor();
    EpollLoop loop;
    SystemClock clock;
    DaemonOperator op;
    int status = 0;
    {
        CServerApp app(loop, op, clock);
        op.SetApp(&app);
        app.m_ConfigDir = options.configDir;
        app.m_BindAddress = options.bindAddress;

        std::vector<std::string> args = options.remaining;
        args[0] = ProgramPath(argv[0]);
        std::vector<const char*> argPointers;
        for (const std::string& arg : args) {
            argPointers.push_back(arg.c_str());
        }
        if (options.port) {
            app.Port = *options.port;
            app.m_bPortArg = 1;
        }

        CClientListModel model(app);
        StatusPrinter printer(model, stdout);
        if (!app.InitInstance(static_cast<int>(argPointers.size()), argPointers.data())) {
            return 1;
        }
        app.SetView(&model);
        model.SetObserver(&printer);
        app.LoadRules();
        model.AddBannerRow();
        auto announce = [&app] {
            std::printf("Quaylon serving on %s\n", app.m_ServerTitle.c_str());
            std::fflush(stdout);
        };
        app.m_OnNewDocument = announce;
        announce();

        loop.StartTimer(kTickMs, true, [&model] { model.OnTimer(); });
        loop.StartTimer(kFlushMs, true, [] { std::fflush(stdout); });
        loop.WatchReadable(signals, [&] {
            signalfd_siginfo info{};
            while (read(signals, &info, sizeof info) == static_cast<ssize_t>(sizeof info)) {
                switch (info.ssi_signo) {
                    case SIGUSR1:
                        app.OnStopServing();
                        break;
                    case SIGUSR2:
                        app.OnStartServing();
                        break;
                    default:
                        loop.Quit();
                        break;
                }
            }
        });
        loop.Run();
        loop.Unwatch(signals);
        status = app.m_bTerminate ? 1 : 0;

        // The orderly end: every row through the log, then the workers stop with the app.
        app.SetView(nullptr);
        model.SetObserver(nullptr);
        model.ClearRows();
    }
    std::fflush(stdout);
    return status;
}
