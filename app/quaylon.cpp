// quaylon: the Quaylon TFTP server with its window.
#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <QApplication>
#include <QIcon>
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
#include "platform/SessionState.h"
#include "platform/SignalDescriptor.h"
#include "server/ServerApp.h"

namespace {

// Gives the splash the first look at every key and mouse press.
class SplashFilter : public QObject {
  protected:
    bool eventFilter(QObject*, QEvent* event) override {
        return CSplashWnd::PreTranslateAppMessage(event);
    }
};

// The session manager's last word: after its question it ends the program with a quit of its
// own, which reaches the application before any window is closed.
class SessionEndFilter : public QObject {
  public:
    explicit SessionEndFilter(CMainFrame& frame) : m_frame(frame) {}

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (watched == qApp && event->type() == QEvent::Quit && m_frame.EndSessionAsked() &&
            !m_frame.Ended()) {
            m_frame.OnEndSession();
        }
        return false;
    }

  private:
    CMainFrame& m_frame;
};

}  // namespace

int main(int argc, char** argv) {
    const LongOptions options = ParseLongOptions(argc, argv);
    if (const auto answered = AnswerWithoutServing(options, "quaylon")) {
        return *answered;
    }

    const int signalFd = OpenSignalDescriptor({SIGTERM, SIGINT});
    int qtArgc = 1;
    char* qtArgv[] = {argv[0], nullptr};
    QApplication qapp(qtArgc, qtArgv);
    QApplication::setApplicationName("Quaylon");
    // Lets the desktop match the window to its installed entry and icon.
    QApplication::setDesktopFileName("com.orrelin.Quaylon");
    // Message boxes and file dialogs show the program's icon too.
    QApplication::setWindowIcon(QIcon(":/icons/quaylon.svg"));
    QApplication::setQuitOnLastWindowClosed(false);
    QtEventLoop loop;
    SystemClock clock;
    QtOperator op;
    int status = 0;
    {
        CServerApp app(loop, op, clock);
        if (!StartServer(app, options, argv[0])) {
            return 1;
        }

        SplashFilter splashFilter;
        qapp.installEventFilter(&splashFilter);
        CSplashWnd::EnableSplashScreen(app.bNoSplash == 0);
        CMainFrame frame(app, op);
        op.SetParent(&frame);
        frame.View()->OnInitialUpdate();
        frame.UpdateCommandUI();  // the view's first update made the ICMP monitor, or not
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
            // Where no session manager asks (Wayland), the end of the login session comes as
            // SIGTERM while logind closes the session.
            if (SessionClosing()) {
                frame.OnEndSession();
            }
            frame.close();  // the same way as the close box
        });
        QObject::connect(&qapp, &QGuiApplication::commitDataRequest,
                         [&frame](QSessionManager&) { frame.OnQueryEndSession(); });
        SessionEndFilter sessionEndFilter(frame);
        qapp.installEventFilter(&sessionEndFilter);

        loop.Run();
        status = app.m_bTerminate ? 1 : 0;
        app.SetView(nullptr);
    }
    return status;
}
