#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <QProcess>
#include <cstdlib>

#include "GuiServer.h"

namespace {

// Whether a shell command run in dir ends with status 0.
bool Shell(const TempDir& dir, const std::string& command) {
    return std::system(("cd " + dir.Path() + " && " + command).c_str()) == 0;
}

}  // namespace

TEST(EndToEnd, TheWindowProgramServesCurlOnAnXServerAndEndsCleanlyOnSigterm) {
    if (access("/usr/bin/xvfb-run", X_OK) != 0) {
        GTEST_SKIP() << "xvfb-run is not installed";
    }
    TempDir work, config, out;
    const std::string bytes = PatternBytes(3000, 5);
    WriteFile(out / "hello.bin", bytes);
    const std::uint16_t port = FreeUdpPort();

    // The shell notes the display for the commands below and its own id, then becomes the program.
    QProcess xvfb;
    xvfb.setWorkingDirectory(QString::fromStdString(work.Path()));
    xvfb.setStandardOutputFile(QString::fromStdString(work / "output.txt"));
    xvfb.setProcessChannelMode(QProcess::MergedChannels);
    // Its own process group, so that the X server it starts ends with it.
    xvfb.setChildProcessModifier([] { setpgid(0, 0); });
    const QString script =
        "echo $$ > pid && printf 'export DISPLAY=%s XAUTHORITY=%s\\n' \"$DISPLAY\" "
        "\"$XAUTHORITY\" > x11.part && mv x11.part x11.sh && QT_QPA_PLATFORM=xcb exec \"$@\"";
    xvfb.start("xvfb-run",
               {"-a", "-s", "-screen 0 1024x768x24", "sh", "-c", script, "sh", QUAYLON_PATH,
                "--bind", "127.0.0.1", "--port", QString::number(port), "--config-dir",
                QString::fromStdString(config.Path()), QString::fromStdString("-O" + out.Dir())});
    struct Reaper {
        QProcess& p;
        ~Reaper() {
            if (p.state() != QProcess::NotRunning) {
                kill(-static_cast<pid_t>(p.processId()), SIGKILL);
                p.waitForFinished(5000);
            }
        }
    } reaper{xvfb};

    // curl fails at once until the program serves.
    const std::string url = "tftp://127.0.0.1:" + std::to_string(port) + "/hello.bin";
    EXPECT_TRUE(PumpUntil([&] { return Shell(work, "curl -s -m 5 -o fetched.bin " + url); }, 20000))
        << ReadFile(work / "output.txt");
    EXPECT_EQ(ReadFile(work / "fetched.bin"), bytes);

    // Without a window manager the main window sits at the top left, away from the splash in the
    // middle; once it is up that corner holds more than the bare root's one colour.
    const std::string corner =
        ". ./x11.sh && timeout 20 xwd -root -silent | "
        "/usr/bin/convert-im6.q16 xwd:- -crop 64x32+0+0 -format %k info:";
    EXPECT_TRUE(PumpUntil([&] { return Shell(work, "test \"$(" + corner + ")\" -gt 1"); }, 10000))
        << "no main window on the screen";

    ASSERT_EQ(kill(static_cast<pid_t>(std::stol(ReadFile(work / "pid"))), SIGTERM), 0);
    ASSERT_TRUE(xvfb.waitForFinished(20000)) << "still running after SIGTERM";
    EXPECT_TRUE(xvfb.exitStatus() == QProcess::NormalExit && xvfb.exitCode() == 0)
        << ReadFile(work / "output.txt");
    // Every row left through the log at the end: the banner and the client.
    const std::string log = ReadFile(work / "Quaylon.log");
    EXPECT_NE(log.find("Quaylon V3.80"), std::string::npos) << log;
    EXPECT_NE(log.find("127.0.0.1 " + (out / "hello.bin")), std::string::npos) << log;
}
