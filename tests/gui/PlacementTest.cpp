#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <QProcess>
#include <array>
#include <cstdio>
#include <regex>

#include "GuiServer.h"

namespace {

using Rect = std::array<int, 4>;  // left, top, right, bottom

// What a shell command run in dir prints; empty if it fails.
std::string Output(const TempDir& dir, const std::string& command) {
    std::string out;
    if (FILE* pipe =
            popen(("(cd " + dir.Path() + " && " + command + ") 2>/dev/null").c_str(), "r")) {
        char buffer[256];
        while (std::fgets(buffer, sizeof buffer, pipe) != nullptr) {
            out += buffer;
        }
        if (pclose(pipe) != 0) {
            out.clear();
        }
    }
    return out;
}

// The window program on its own X server with a window manager, until Stop.
class WindowProgram {
  public:
    WindowProgram(const TempDir& work, const TempDir& config) : m_work(work) {
        std::remove((work / "x11.sh").c_str());
        std::remove((work / "pid").c_str());
        // The window manager first, so that it places and frames the program's window.
        const QString script =
            "printf 'export DISPLAY=%s XAUTHORITY=%s\\n' \"$DISPLAY\" \"$XAUTHORITY\" > x11.sh\n"
            "openbox &\n"
            "i=0\n"
            "until xprop -root _NET_SUPPORTING_WM_CHECK | grep -q 'window id'; do\n"
            "  i=$((i+1)); [ $i -gt 200 ] && exit 3; sleep 0.05\n"
            "done\n"
            "echo $$ > pid\n"
            "QT_QPA_PLATFORM=xcb exec \"$@\"\n";
        m_xvfb.setWorkingDirectory(QString::fromStdString(work.Path()));
        m_xvfb.setProcessChannelMode(QProcess::MergedChannels);
        m_xvfb.setChildProcessModifier([] { setpgid(0, 0); });
        m_xvfb.start("xvfb-run",
                     {"-a", "-s", "-screen 0 1024x768x24", "sh", "-c", script, "sh", QUAYLON_PATH,
                      "--bind", "127.0.0.1", "--port", QString::number(FreeUdpPort()),
                      "--config-dir", QString::fromStdString(config.Path())});
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
        return m_xvfb.waitForFinished(20000) && m_xvfb.exitCode() == 0;
    }
    std::string Log() { return m_xvfb.readAll().toStdString(); }

  private:
    const TempDir& m_work;
    QProcess m_xvfb;
};

Rect StoredRect(const TempDir& config) {
    const std::string store = ReadFile(config / "registry.reg");
    Rect rect{};
    const char* const names[4] = {"WinLeft", "WinTop", "WinRight", "WinBottom"};
    for (int i = 0; i < 4; ++i) {
        std::smatch m;
        if (std::regex_search(store, m,
                              std::regex("\"" + std::string(names[i]) + "\"=dword:([0-9a-f]+)"))) {
            rect[static_cast<std::size_t>(i)] =
                static_cast<std::int32_t>(std::stoul(m[1], nullptr, 16));
        }
    }
    return rect;
}

}  // namespace

TEST(WindowPlacement, TheWindowComesBackWhereItWasLeft) {
    if (access("/usr/bin/xvfb-run", X_OK) != 0 || access("/usr/bin/openbox", X_OK) != 0 ||
        access("/usr/bin/xdotool", X_OK) != 0) {
        GTEST_SKIP() << "xvfb-run, openbox or xdotool is not installed";
    }
    TempDir work, config;
    Rect left{};
    {
        WindowProgram first(work, config);
        const std::string id = first.WaitForWindow();
        ASSERT_FALSE(id.empty()) << first.Log();
        first.X11("xdotool windowsize " + id + " 640 360 windowmove " + id + " 150 110");
        EXPECT_TRUE(PumpUntil([&] {
            left = first.Geometry(id);
            return left[2] - left[0] == 640 && left[3] - left[1] == 360;
        }));
        ASSERT_TRUE(first.Stop()) << first.Log();
    }
    EXPECT_EQ(StoredRect(config), left) << "what is stored is the rectangle on the screen";

    for (int start = 0; start < 2; ++start) {
        WindowProgram again(work, config);
        const std::string id = again.WaitForWindow();
        ASSERT_FALSE(id.empty()) << again.Log();
        Rect shown{};
        EXPECT_TRUE(PumpUntil([&] { return (shown = again.Geometry(id)) == left; }, 5000))
            << "start " << start << ": " << shown[0] << "," << shown[1] << " " << shown[2] << ","
            << shown[3] << " for " << left[0] << "," << left[1] << " " << left[2] << "," << left[3];
        ASSERT_TRUE(again.Stop()) << again.Log();
        EXPECT_EQ(StoredRect(config), left) << "start " << start;
    }
}
