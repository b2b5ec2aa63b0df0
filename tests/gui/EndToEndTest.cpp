#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QImage>
#include <QSet>
#include <chrono>
#include <optional>
#include <thread>

#include "support/ServerHarness.h"
#include "support/TempDir.h"

namespace {

using namespace std::chrono_literals;

// A program started in its own process group, so that it and whatever it starts can be ended.
class Child {
  public:
    Child(const std::vector<std::string>& argv, const std::string& cwd,
          const std::vector<std::pair<std::string, std::string>>& env, const std::string& log) {
        m_pid = fork();
        if (m_pid == 0) {
            setpgid(0, 0);
            for (const auto& [name, value] : env) {
                setenv(name.c_str(), value.c_str(), 1);
            }
            const int out = open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
            if (out >= 0) {
                dup2(out, STDOUT_FILENO);
                dup2(out, STDERR_FILENO);
            }
            if (chdir(cwd.c_str()) != 0) {
                _exit(126);
            }
            std::vector<char*> args;
            for (const std::string& arg : argv) {
                args.push_back(const_cast<char*>(arg.c_str()));
            }
            args.push_back(nullptr);
            execvp(args[0], args.data());
            _exit(127);
        }
        if (m_pid > 0) {
            setpgid(m_pid, m_pid);
        }
    }
    ~Child() {
        if (!m_status && m_pid > 0) {
            kill(-m_pid, SIGKILL);
            waitpid(m_pid, nullptr, 0);
        }
    }

    // The wait status once the child has ended within the time, else nothing.
    std::optional<int> Wait(std::chrono::milliseconds limit) {
        const auto deadline = std::chrono::steady_clock::now() + limit;
        while (!m_status && m_pid > 0) {
            int status = 0;
            if (waitpid(m_pid, &status, WNOHANG) == m_pid) {
                m_status = status;
            } else if (std::chrono::steady_clock::now() > deadline) {
                break;
            } else {
                std::this_thread::sleep_for(20ms);
            }
        }
        return m_status;
    }

  private:
    pid_t m_pid = -1;
    std::optional<int> m_status;
};

// Exit code of a short command, or -1 if it did not end in time.
int RunCommand(const std::vector<std::string>& argv, const std::string& cwd,
               const std::vector<std::pair<std::string, std::string>>& env = {},
               std::chrono::milliseconds limit = 20s) {
    Child child(argv, cwd, env, "/dev/null");
    const std::optional<int> status = child.Wait(limit);
    return status && WIFEXITED(*status) ? WEXITSTATUS(*status) : -1;
}

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

template <typename Done>
bool WaitFor(Done done, int tries, std::chrono::milliseconds pause) {
    for (int i = 0; i < tries; ++i) {
        if (done()) {
            return true;
        }
        std::this_thread::sleep_for(pause);
    }
    return done();
}

std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::size_t start = 0;
    while (start < text.size()) {
        const std::size_t end = text.find('\n', start);
        lines.push_back(text.substr(start, end - start));
        if (end == std::string::npos) {
            break;
        }
        start = end + 1;
    }
    return lines;
}

// Distinct colours on a coarse grid, counting no further than two.
int Colours(const QImage& image) {
    QSet<QRgb> colours;
    for (int y = 0; y < image.height() && colours.size() < 2; y += 7) {
        for (int x = 0; x < image.width(); x += 7) {
            colours.insert(image.pixel(x, y));
        }
    }
    return static_cast<int>(colours.size());
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
    const std::string script =
        "printf '%s\\n%s\\n%s\\n' \"$DISPLAY\" \"$XAUTHORITY\" \"$$\" > display.txt.part && "
        "mv display.txt.part display.txt && exec \"$@\"";
    Child xvfb({"xvfb-run", "-a", "-s", "-screen 0 1024x768x24", "sh", "-c", script, "sh",
                QUAYLON_PATH, "--bind", "127.0.0.1", "--port", std::to_string(port), "--config-dir",
                config.Path(), "-O" + out.Dir()},
               work.Path(), {{"QT_QPA_PLATFORM", "xcb"}}, work / "output.txt");

    ASSERT_TRUE(WaitFor([&] { return FileExists(work / "display.txt"); }, 200, 50ms))
        << ReadFile(work / "output.txt");
    const std::vector<std::string> display = Lines(ReadFile(work / "display.txt"));
    ASSERT_EQ(display.size(), 3u);
    const std::vector<std::pair<std::string, std::string>> x11 = {{"DISPLAY", display[0]},
                                                                  {"XAUTHORITY", display[1]}};
    const pid_t program = static_cast<pid_t>(std::stol(display[2]));
    ASSERT_TRUE(WaitFor([&] { return PortTaken(port); }, 200, 50ms))
        << ReadFile(work / "output.txt");

    const std::string fetched = work / "fetched.bin";
    const std::string url = "tftp://127.0.0.1:" + std::to_string(port) + "/hello.bin";
    EXPECT_EQ(RunCommand({"curl", "-s", "-m", "10", "-o", fetched, url}, work.Path()), 0);
    EXPECT_EQ(ReadFile(fetched), bytes);

    // The screen shows more than the bare root once the window is up; a few tries allow for it.
    QImage shot;
    const bool bDrawn = WaitFor(
        [&] {
            return RunCommand(
                       {"sh", "-c", "xwd -root -silent | /usr/bin/convert-im6.q16 xwd:- shot.png"},
                       work.Path(), x11) == 0 &&
                   shot.load(QString::fromStdString(work / "shot.png")) && Colours(shot) >= 2;
        },
        50, 200ms);
    ASSERT_FALSE(shot.isNull()) << "no picture of the screen";
    EXPECT_EQ(shot.size(), QSize(1024, 768));
    EXPECT_TRUE(bDrawn) << "the screen stays one colour";
    if (access("/usr/bin/xwininfo", X_OK) == 0) {
        const std::string title = "Quaylon - 127.0.0.1." + std::to_string(port);
        EXPECT_EQ(RunCommand({"sh", "-c", "xwininfo -root -tree > tree.txt"}, work.Path(), x11), 0);
        EXPECT_NE(ReadFile(work / "tree.txt").find(title), std::string::npos)
            << ReadFile(work / "tree.txt");
    }

    ASSERT_EQ(kill(program, SIGTERM), 0);
    const std::optional<int> status = xvfb.Wait(20s);
    ASSERT_TRUE(status) << "still running after SIGTERM";
    EXPECT_TRUE(WIFEXITED(*status) && WEXITSTATUS(*status) == 0) << *status << "\n"
                                                                 << ReadFile(work / "output.txt");

    // Every row left through the log at the end: the banner and the client.
    const std::string log = ReadFile(work / "Quaylon.log");
    EXPECT_NE(log.find("Quaylon V3.80"), std::string::npos) << log;
    EXPECT_NE(log.find("127.0.0.1 " + (out / "hello.bin")), std::string::npos) << log;
    EXPECT_TRUE(FileExists(config / "registry.reg")) << "the window's place is kept there";
}
