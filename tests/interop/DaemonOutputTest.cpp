#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <map>
#include <memory>
#include <sstream>

#include "interop/DaemonProcess.h"
#include "support/ServerHarness.h"
#include "support/TftpPeer.h"

namespace {

// Each client's events in the order printed, by serial; announcements left out.
std::map<std::string, std::vector<std::string>> EventsBySerial(const std::string& out) {
    std::map<std::string, std::vector<std::string>> events;
    std::istringstream lines(out);
    for (std::string line; std::getline(lines, line);) {
        const auto open = line.find(" [");
        const auto close = line.find("] ", open);
        if (line.rfind("Quaylon serving on ", 0) == 0 || close == std::string::npos) {
            continue;
        }
        const std::string rest = line.substr(close + 2);
        events[line.substr(open + 2, close - open - 2)].push_back(rest.substr(0, rest.find(' ')));
    }
    return events;
}

// quaylond on 127.0.0.1 whose standard output is a FIFO of one page that the test reads only when
// it asks to, and whose reading end it can close.
class UnreadDaemon {
  public:
    UnreadDaemon() {
        for (int attempt = 0; attempt < 3 && !bServing; ++attempt) {
            CloseReader();
            child.reset();
            unlink((home / "stdout").c_str());
            mkfifo((home / "stdout").c_str(), 0600);
            // Open first, so that the shell's open for writing finds a reader and goes on.
            m_reader = open((home / "stdout").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
            fcntl(m_reader, F_SETPIPE_SZ, 4096);
            port = FreeUdpPort();
            child = std::make_unique<ChildProcess>(
                std::vector<std::string>{"env", "XDG_CONFIG_HOME=" + home.Path(), QUAYLOND_PATH,
                                         "--bind", "127.0.0.1", "--port", std::to_string(port),
                                         "-O" + out.Dir(), "--config-dir", config.Path()},
                home);
            bServing = ReadUntil("Quaylon serving on 127.0.0.1." + std::to_string(port) + "\n");
        }
    }
    ~UnreadDaemon() { CloseReader(); }

    // Reads what comes until the text has come or five seconds have passed; whether it came.
    bool ReadUntil(const std::string& text) {
        std::string seen;
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
        while (seen.find(text) == std::string::npos &&
               std::chrono::steady_clock::now() < deadline) {
            pollfd ready{m_reader, POLLIN, 0};
            char buffer[4096];
            const ssize_t n =
                poll(&ready, 1, 100) == 1 ? read(m_reader, buffer, sizeof buffer) : -1;
            if (n > 0) {
                seen.append(buffer, static_cast<std::size_t>(n));
            }
        }
        return seen.find(text) != std::string::npos;
    }
    // Empties the pipe without waiting.
    void Drain() {
        char buffer[4096];
        while (read(m_reader, buffer, sizeof buffer) > 0) {
        }
    }
    void CloseReader() {
        if (m_reader >= 0) {
            close(m_reader);
        }
        m_reader = -1;
    }

    TempDir home, out, config;
    std::uint16_t port = 0;
    bool bServing = false;
    std::unique_ptr<ChildProcess> child;

  private:
    int m_reader = -1;
};

std::string AskForMissingFile(std::uint16_t port, const std::string& name = "none.bin") {
    TftpPeer peer(nullptr);
    return tftp::ErrorText(peer.Exchange(port, tftp::Rrq(name)).value_or(""));
}

TEST(DaemonOutput, OneStartAndOneEndLinePerClientWithTheBytesSent) {
    ServingDaemon d;
    ASSERT_TRUE(d.bServing) << d.process->Stderr();
    // 300 KiB at curl's 512-byte blocks: 600 acknowledgements, none of which may print a line.
    for (const std::size_t size : {std::size_t{1500}, std::size_t{300 * 1024}}) {
        const std::string name = std::to_string(size) + ".bin";
        WriteFile(d.out / name, PatternBytes(size));
        const ClientResult get = RunClient({"curl", "-sS", "-o", d.scratch / name, d.Url(name)});
        EXPECT_EQ(get.status, 0) << get.err;
        // The result reaches the row at the next tick, every five seconds.
        EXPECT_TRUE(d.process->WaitForStdout(
            d.out / name + " | Finished : Sending | " + std::to_string(size) + " bytes | ", 15000))
            << d.process->Stdout();
    }
    EXPECT_EQ(AskForMissingFile(d.port), "File not found");
    EXPECT_TRUE(d.process->WaitForStdout("/none.bin | File not found | - bytes | "))
        << d.process->Stdout();

    EXPECT_EQ(d.process->Stop(), 0);
    const auto events = EventsBySerial(d.process->Stdout());
    EXPECT_EQ(events.size(), 3u) << d.process->Stdout();
    for (const auto& [serial, seen] : events) {
        EXPECT_EQ(seen, (std::vector<std::string>{"start", "end"})) << "client " << serial << ":\n"
                                                                    << d.process->Stdout();
    }
}

// Standard output full and unread, then with nobody at its other end: the server goes on serving,
// counts what it could not print, and SIGHUP still ends it in order.
TEST(DaemonOutput, UnreadPipeNeverStopsTheServerAndSighupEndsInOrder) {
    UnreadDaemon d;
    ASSERT_TRUE(d.bServing) << ReadFile(d.home / "stderr");
    // Long names, so that the rows' lines fill the pipe's page a few times before the client limit.
    for (int request = 0; request < 20; ++request) {
        ASSERT_EQ(AskForMissingFile(d.port, std::string(200, static_cast<char>('a' + request))),
                  "File not found")
            << "request " << request;
    }
    // 2048 blocks: a line per acknowledgement would fill a pipe of 64 KiB twice over.
    const std::string bytes = PatternBytes(1024 * 1024);
    WriteFile(d.out / "big.bin", bytes);
    TempDir scratch;
    const ClientResult get = RunClient({"curl", "-sS", "-o", scratch / "big.bin",
                                        "tftp://127.0.0.1:" + std::to_string(d.port) + "/big.bin"});
    EXPECT_EQ(get.status, 0) << get.err;
    EXPECT_TRUE(FileHolds(scratch / "big.bin", bytes));

    d.Drain();
    EXPECT_EQ(AskForMissingFile(d.port), "File not found");
    EXPECT_TRUE(d.ReadUntil(" lines dropped)\n"));

    // Lines now meet a pipe nobody can read; SIGPIPE would end the daemon.
    d.CloseReader();
    EXPECT_EQ(AskForMissingFile(d.port), "File not found");

    d.child->Signal(SIGHUP);
    EXPECT_EQ(d.child->WaitExit(), 0) << ReadFile(d.home / "stderr");
    const std::string log = ReadFile(d.home / "Quaylon.log");
    EXPECT_NE(log.find("Ready"), std::string::npos) << log;
    EXPECT_NE(log.find(d.out / "big.bin"), std::string::npos) << log;
    EXPECT_TRUE(FileExists(d.config / "registry.reg")) << "settings written at the end";
}

}  // namespace
