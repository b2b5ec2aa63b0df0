#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <QImage>
#include <QProcess>
#include <QSet>
#include <sstream>

#include "GuiServer.h"

namespace {

bool PortTaken(std::uint16_t port) {
    const int fd = socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in local{};
    local.sin_family = AF_INET;
    local.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    local.sin_port = htons(port);
    const bool taken = bind(fd, reinterpret_cast<sockaddr*>(&local), sizeof local) != 0;
    close(fd);
    return taken;
}

// Exit code of a shell command run in dir, or -1 if it did not end within 20 s.
int Shell(const std::string& command, const std::string& dir, const QProcessEnvironment& env) {
    QProcess shell;
    shell.setWorkingDirectory(QString::fromStdString(dir));
    shell.setProcessEnvironment(env);
    shell.start("sh", {"-c", QString::fromStdString(command)});
    if (!shell.waitForFinished(20000)) {
        shell.kill();
        shell.waitForFinished();
        return -1;
    }
    return shell.exitStatus() == QProcess::NormalExit ? shell.exitCode() : -1;
}

// Whether a coarse grid of the picture holds more than one colour.
bool Drawn(const QImage& image) {
    QSet<QRgb> colours;
    for (int y = 0; y < image.height(); y += 7) {
        for (int x = 0; x < image.width(); x += 7) {
            colours.insert(image.pixel(x, y));
        }
    }
    return colours.size() > 1;
}

}  // namespace

TEST(EndToEnd, TheWindowProgramServesCurlOnAnXServerAndEndsCleanlyOnSigterm) {
    if (access("/usr/bin/xvfb-run", X_OK) != 0) {
        GTEST_SKIP() << "xvfb-run is not installed";
    }
    TempDir work;
    TempDir config;
    TempDir out;
    const std::string bytes = PatternBytes(3000, 5);
    WriteFile(out / "hello.bin", bytes);
    const std::uint16_t port = FreeUdpPort();

    // The shell notes the display and its own id, then becomes the program.
    QProcess xvfb;
    xvfb.setWorkingDirectory(QString::fromStdString(work.Path()));
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("QT_QPA_PLATFORM", "xcb");
    xvfb.setProcessEnvironment(env);
    xvfb.setStandardOutputFile(QString::fromStdString(work / "output.txt"));
    xvfb.setProcessChannelMode(QProcess::MergedChannels);
    // Its own process group, so that the X server it starts ends with it.
    xvfb.setChildProcessModifier([] { setpgid(0, 0); });
    const QString script =
        "printf '%s\\n%s\\n%s\\n' \"$DISPLAY\" \"$XAUTHORITY\" \"$$\" > display.part && "
        "mv display.part display.txt && exec \"$@\"";
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

    ASSERT_TRUE(PumpUntil([&] { return FileExists(work / "display.txt"); }, 10000))
        << ReadFile(work / "output.txt");
    std::istringstream noted(ReadFile(work / "display.txt"));
    std::string display, authority, pid;
    ASSERT_TRUE(std::getline(noted, display) && std::getline(noted, authority) &&
                std::getline(noted, pid));
    QProcessEnvironment x11 = env;
    x11.insert("DISPLAY", QString::fromStdString(display));
    x11.insert("XAUTHORITY", QString::fromStdString(authority));
    ASSERT_TRUE(PumpUntil([&] { return PortTaken(port); }, 10000)) << ReadFile(work / "output.txt");

    const std::string url = "tftp://127.0.0.1:" + std::to_string(port) + "/hello.bin";
    EXPECT_EQ(Shell("curl -s -m 10 -o fetched.bin " + url, work.Path(), env), 0);
    EXPECT_EQ(ReadFile(work / "fetched.bin"), bytes);

    // The screen shows more than the bare root once the window is up; a few tries allow for it.
    QImage shot;
    const bool bDrawn = PumpUntil(
        [&] {
            return Shell("xwd -root -silent | /usr/bin/convert-im6.q16 xwd:- shot.png", work.Path(),
                         x11) == 0 &&
                   shot.load(QString::fromStdString(work / "shot.png")) && Drawn(shot);
        },
        10000);
    ASSERT_FALSE(shot.isNull()) << "no picture of the screen";
    EXPECT_EQ(shot.size(), QSize(1024, 768));
    EXPECT_TRUE(bDrawn) << "the screen stays one colour";

    ASSERT_EQ(kill(static_cast<pid_t>(std::stol(pid)), SIGTERM), 0);
    ASSERT_TRUE(xvfb.waitForFinished(20000)) << "still running after SIGTERM";
    EXPECT_EQ(xvfb.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(xvfb.exitCode(), 0) << ReadFile(work / "output.txt");

    // Every row left through the log at the end: the banner and the client.
    const std::string log = ReadFile(work / "Quaylon.log");
    EXPECT_NE(log.find("Quaylon V3.80"), std::string::npos) << log;
    EXPECT_NE(log.find("127.0.0.1 " + (out / "hello.bin")), std::string::npos) << log;
}
