// quaylond: the Quaylon TFTP server without a window.
#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include "app/DaemonOperator.h"
#include "app/LongOptions.h"
#include "app/StatusPrinter.h"
#include "console/ClientListModel.h"
#include "platform/Clock.h"
#include "platform/EpollLoop.h"
#include "platform/HostAddresses.h"
#include "platform/SignalDescriptor.h"
#include "server/ServerApp.h"

namespace {

constexpr int kTickMs = 5000;

}  // namespace

int main(int argc, char** argv) {
    LongOptions options = ParseLongOptions(argc, argv);
    if (const auto answered = AnswerWithoutServing(options, "quaylond")) {
        return *answered;
    }
    // Differs on purpose (unlike the window): no address chosen serves all, as Linux daemons do.
    if (!ChoosesAddress(options)) {
        PrintAddresses("Serving on every address (0.0.0.0); choose one with -A or --bind:",
                       LocalAddresses());
        options.bindAddress = "0.0.0.0";
    }

    // The signals sent to end a program (a hang-up and init's power failure too) end it in order.
    const int signals =
        OpenSignalDescriptor({SIGTERM, SIGINT, SIGHUP, SIGALRM, SIGPWR, SIGUSR1, SIGUSR2});
    EpollLoop loop;
    SystemClock clock;
    DaemonOperator op;
    int status = 0;
    {
        CServerApp app(loop, op, clock);
        op.SetApp(&app);
        CClientListModel model(app);
        StatusPrinter printer(model, options.bVerbose);
        if (!StartServer(app, options, argv[0])) {
            return 1;
        }
        app.SetView(&model);
        app.LoadRules();
        model.AddBannerRow();
        // After the banner: it is no client, and the announcement says what it would.
        model.SetObserver(&printer);
        auto announce = [&app, &printer] {
            printer.Announce("Quaylon serving on " + app.m_ServerTitle);
        };
        app.m_OnNewDocument = announce;
        announce();

        loop.StartTimer(kTickMs, true, [&model] { model.OnTimer(); });
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
        model.ClearRows();
        model.SetObserver(nullptr);
    }
    return status;
}
