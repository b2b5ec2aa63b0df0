#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <QProcess>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <regex>

#include "GuiServer.h"
#include "support/StoredPlacement.h"

namespace {

using Rect = std::array<int, 4>;  // left, top, right, bottom

// What a shell command run in dir prints; empty if it fails.
std::string Output(const TempDir& dir, const std::string& command) {
    const std::string shell = "cd " + dir.Path() + " && (" + command + ") >output 2>/dev/null";
    return std::system(shell.c_str()) == 0 ? ReadFile(dir / "output") : std::string();
}

// The window program with args on its own X server with a window manager, until Stop.
class WindowProgram {
  public:
    WindowProgram(const TempDir& work, QStringList args) : m_work(work) {
        std::remove((work / "x11.sh").c_str());
        std::remove((work / "pid").c_str());
        // The window manager first, so that it places and frames the program's window.
        const QString script =
            "printf 'export DISPLAY=%s XAUTHORITY=%s\\n' \"$DISPLAY\" \"$XAUTHORITY\" > x11.sh\n"
            "openbox & i=0\n"
            "until xprop -root _NET_SUPPORTING_WM_CHECK | grep -q 'window id'; do\n"
            "  i=$((i+1)); [ $i -gt 200 ] && exit 3; sleep 0.05; done\n"
            "echo $$ > pid && QT_QPA_PLATFORM=xcb exec \"$@\"\n";
        m_xvfb.setWorkingDirectory(QString::fromStdString(work.Path()));
        m_xvfb.setStandardOutputFile(QString::fromStdString(work / "output.txt"));
        m_xvfb.setProcessChannelMode(QProcess::MergedChannels);
        // Its own process group, so that the X server it starts ends with it.
        m_xvfb.setChildProcessModifier([] { setpgid(0, 0); });
        m_xvfb.start("xvfb-run", QStringList{"-a", "-s", "-screen 0 1024x768x24", "sh", "-c",
                                             script, "sh", QUAYLON_PATH, "--bind", "127.0.0.1"} +
                                     args);
    }
    ~WindowProgram() {
        if (m_xvfb.state() != QProcess::NotRunning) {
            kill(-static_cast<pid_t>(m_xvfb.processId()), SIGKILL);
            m_xvfb.waitForFinished(5000);
        }
    }

    // The main window's id once it is mapped; empty if it never is.
    std::string WaitForWindow() {
        std::string id;
        PumpUntil(
            [&] {
                id = X11("xdotool search --onlyvisible --name '^Quaylon - ' | head -1");
                return !id.empty();
            },
            20000);
        return id.empty() ? id : id.substr(0, id.find('\n'));
    }
    // The window's rectangle inside its frame, as the X server has it.
    Rect Geometry(const std::string& id) {
        const std::string info = X11("xwininfo -id " + id);
        const auto field = [&info](const std::string& name) {
            std::smatch m;
            return std::regex_search(info, m, std::regex(name + ":\\s+(-?\\d+)")) ? std::stoi(m[1])
                                                                                  : -99999;
        };
        const int left = field("Absolute upper-left X");
        const int top = field("Absolute upper-left Y");
        return {left, top, left + field("Width"), top + field("Height")};
    }
    std::string X11(const std::string& command) {
        return Output(m_work, ". ./x11.sh && " + command);
    }
    // SIGTERM, the orderly end; true if the program ended with status 0.
    bool Stop() {
        const std::string pid = ReadFile(m_work / "pid");
        if (pid.empty() || kill(static_cast<pid_t>(std::stol(pid)), SIGTERM) != 0) {
            return false;
        }
        return m_xvfb.waitForFinished(20000) && m_xvfb.exitStatus() == QProcess::NormalExit &&
               m_xvfb.exitCode() == 0;
    }
    std::string Log() const { return ReadFile(m_work / "output.txt"); }

  private:
    const TempDir& m_work;
    QProcess m_xvfb;
};

Rect StoredRect(const TempDir& config) {
    CSettings settings;
    settings.m_ConfigDir = config.Path();
    return LoadPlacement(settings).rect;
}

}  // namespace

TEST(EndToEnd, TheWindowProgramServesCurlEndsInOrderOnSigtermAndComesBackWhereItWasLeft) {
    for (const char* tool : {"/usr/bin/xvfb-run", "/usr/bin/openbox", "/usr/bin/xdotool"}) {
        if (access(tool, X_OK) != 0) {
            GTEST_SKIP() << tool << " is not installed";
        }
    }
    TempDir work, config, out;
    const std::string bytes = PatternBytes(3000, 5);
    WriteFile(out / "hello.bin", bytes);
    const QString port = QString::number(FreeUdpPort());
    const QStringList args = {"--port", port, "--config-dir", QString::fromStdString(config.Path()),
                              QString::fromStdString("-O" + out.Dir())};
    Rect left{};
    {
        WindowProgram first(work, args);
        const std::string id = first.WaitForWindow();
        ASSERT_FALSE(id.empty()) << first.Log();
        // curl fails at once until the program serves.
        const std::string curl =
            "curl -s -m 5 -o fetched.bin tftp://127.0.0.1:" + port.toStdString() +
            "/hello.bin && echo ok";
        EXPECT_TRUE(PumpUntil([&] { return !Output(work, curl).empty(); }, 20000)) << first.Log();
        EXPECT_EQ(ReadFile(work / "fetched.bin"), bytes);
        // A window that has been drawn holds more than its background's one colour.
        const std::string colours =
            "xwd -silent -id " + id + " | /usr/bin/convert-im6.q16 xwd:- -format %k info:";
        EXPECT_TRUE(PumpUntil([&] { return std::atoi(first.X11(colours).c_str()) > 1; }, 10000))
            << "the main window is not drawn";

        first.X11("xdotool windowsize " + id + " 640 360 windowmove " + id + " 150 110");
        EXPECT_TRUE(PumpUntil([&] {
            left = first.Geometry(id);
            return left[2] - left[0] == 640 && left[3] - left[1] == 360;
        }));
        ASSERT_TRUE(first.Stop()) << first.Log();
    }
    // Every row left through the log at the end: the banner and the client.
    const std::string log = ReadFile(work / "Quaylon.log");
    EXPECT_NE(log.find("Quaylon V3.80"), std::string::npos) << log;
    EXPECT_NE(log.find("127.0.0.1 " + (out / "hello.bin")), std::string::npos) << log;
    EXPECT_EQ(StoredRect(config), left) << "what is stored is the rectangle on the screen";

    // Started again, it shows and stores the same rectangle.
    WindowProgram again(work, args);
    const std::string id = again.WaitForWindow();
    ASSERT_FALSE(id.empty()) << again.Log();
    Rect shown{};
    PumpUntil([&] { return (shown = again.Geometry(id)) == left; }, 5000);
    EXPECT_EQ(shown, left);
    ASSERT_TRUE(again.Stop()) << again.Log();
    EXPECT_EQ(StoredRect(config), left);
}
