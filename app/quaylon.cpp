// quaylon: the Quaylon TFTP server with its window.
#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <QApplication>
#include <QSessionManager>
#include <QSocketNotifier>
#include <cstdio>
#include <vector>

#include "app/LongOptions.h"
#include "console/qt/MainFrame.h"
#include "console/qt/NewView.h"
#include "console/qt/QtEventLoop.h"
#include "console/qt/QtOperator.h"
#include "console/qt/SplashWnd.h"
#include "platform/Clock.h"
#include "server/ServerApp.h"

namespace {

// Gives the splash the first look at every key and mouse press.
class SplashFilter : public QObject {
  protected:
    bool eventFilter(QObject*, QEvent* event) override {
        return CSplashWnd::PreTranslateAppMessage(event);
    }
};

int OpenSignalDescriptor() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGTERM);
    sigaddset(&set, SIGINT);
    sigprocmask(SIG_BLOCK, &set, nullptr);
    signal(SIGPIPE, SIG_IGN);
    return signalfd(-1, &set, SFD_NONBLOCK | SFD_CLOEXEC);
}

}  // namespace

int main(int argc, char** argv) {
    const LongOptions options = ParseLongOptions(argc, argv);
    if (!options.error.empty()) {
        std::fprintf(stderr, "quaylon: %s\n", options.error.c_str());
        std::fprintf(stderr, kUsage, "quaylon");
        return 2;
    }
    if (options.bHelp) {
        std::printf(kUsage, "quaylon");
        return 0;
    }
    if (options.bVersion) {
        std::printf("%s\n", kVersion);
        return 0;
    }

    const int signalFd = OpenSignalDescriptor();
    int qtArgc = 1;
    char* qtArgv[] = {argv[0], nullptr};
    QApplication qapp(qtArgc, qtArgv);
    QApplication::setApplicationName("Quaylon");
    QApplication::setQuitOnLastWindowClosed(false);
    QtEventLoop loop;
    SystemClock clock;
    QtOperator op;
    int status = 0;
    {
        CServerApp app(loop, op, clock);
        app.m_ConfigDir = options.configDir;
        app.m_BindAddress = options.bindAddress;
        if (options.port) {
            app.Port = *options.port;
            app.m_bPortArg = 1;
        }
        std::vector<std::string> args = options.remaining;
        args[0] = ProgramPath(argv[0]);
        std::vector<const char*> argPointers;
        for (const std::string& arg : args) {
            argPointers.push_back(arg.c_str());
        }
        if (!app.InitInstance(static_cast<int>(argPointers.size()), argPointers.data())) {
            return 1;
        }

        SplashFilter splashFilter;
        qapp.installEventFilter(&splashFilter);
        CSplashWnd::EnableSplashScreen(app.bNoSplash == 0);
        CMainFrame frame(app, op);
        op.SetParent(&frame);
        frame.View()->OnInitialUpdate();
        if (app.bMinimizeAtStartup) {
            frame.showMinimized();
        } else {
            frame.showNormal();
        }
        app.LoadRules();
        if (app.bUseTaskbar) {
            frame.InstallTrayIcon();
        }

        QSocketNotifier signalNotifier(signalFd, QSocketNotifier::Read);
        QObject::connect(&signalNotifier, &QSocketNotifier::activated, [&frame, signalFd] {
            signalfd_siginfo info{};
            while (read(signalFd, &info, sizeof info) == static_cast<ssize_t>(sizeof info)) {
            }
            frame.close();  // the same way as the close box
        });
        QObject::connect(&qapp, &QGuiApplication::commitDataRequest,
                         [&frame](QSessionManager&) { frame.OnEndSession(); });

        loop.Run();
        status = app.m_bTerminate ? 1 : 0;
        app.SetView(nullptr);
    }
    return status;
}
