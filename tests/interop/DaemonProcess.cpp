#include "interop/DaemonProcess.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <thread>

#include "support/ServerHarness.h"
#include "support/TftpPeer.h"

extern char** environ;

namespace {
bool PollUntil(const std::function<bool()>& done, int timeoutMs) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (!done() && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return done();
}

// Opened before the daemon starts, so that the shell's open for writing finds a reader.
int OpenFifo(const std::string& path) {
    mkfifo(path.c_str(), 0600);
    const int fd = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    fcntl(fd, F_SETPIPE_SZ, 4096);
    return fd;
}
}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& argv, bool bPipe)
    : m_bPipe(bPipe), m_reader(bPipe ? OpenFifo(home / "stdout") : -1) {
    // sh moves into home and sets up the files, then becomes the program.
    std::vector<std::string> words{
        "sh", "-c",
        "export XDG_CONFIG_HOME=\"$0\" && cd \"$0\" && exec \"$@\" </dev/null >stdout 2>stderr",
        home.Path()};
    words.insert(words.end(), argv.begin(), argv.end());
    std::vector<char*> pointers;
    for (std::string& word : words) {
        pointers.push_back(word.data());
    }
    pointers.push_back(nullptr);
    if (posix_spawnp(&m_pid, "sh", nullptr, nullptr, pointers.data(), environ) != 0) {
        m_pid = -1;
    }
}

ChildProcess::~ChildProcess() {
    CloseStdout();
    Signal(SIGKILL);
    WaitExit();
}

std::optional<int> ChildProcess::WaitExit(int timeoutMs) {
    PollUntil(
        [this] {
            int raw = 0;
            if (!m_status && m_pid > 0 && waitpid(m_pid, &raw, WNOHANG) == m_pid) {
                m_status = WIFEXITED(raw) ? WEXITSTATUS(raw) : 128 + WTERMSIG(raw);
            }
            return m_status || m_pid <= 0;
        },
        timeoutMs);
    return m_status;
}

void ChildProcess::Signal(int sig) const {
    if (m_pid > 0 && !m_status) {
        kill(m_pid, sig);
    }
}

std::string ChildProcess::Stdout() {
    char buffer[4096];
    for (ssize_t n; m_reader >= 0 && (n = read(m_reader, buffer, sizeof buffer)) > 0;) {
        m_piped.append(buffer, static_cast<std::size_t>(n));
    }
    return m_bPipe ? m_piped : ReadFile(home / "stdout");
}

void ChildProcess::CloseStdout() {
    if (m_reader >= 0) {
        close(m_reader);
    }
    m_reader = -1;
}

bool ChildProcess::WaitForStdout(const std::string& text, int timeoutMs) {
    // A program that has ended writes no more.
    PollUntil([&] { return Stdout().find(text) != std::string::npos || WaitExit(0); }, timeoutMs);
    return Stdout().find(text) != std::string::npos;
}

ServingDaemon::ServingDaemon(const ArgsFor& args, bool bPipe, const std::string& address) {
    // Another program may take the free port first; then again on another.
    for (int attempt = 0; attempt < 3 && !bServing; ++attempt) {
        port = FreeUdpPort();
        process = std::make_unique<DaemonProcess>(args ? args(*this) : Args(), bPipe);
        bServing = process->WaitForStdout("Quaylon serving on " + address + "." +
                                          std::to_string(port) + "\n");
    }
}

std::vector<std::string> ServingDaemon::Args() const {
    return {"--bind",        "127.0.0.1",      "--port",       std::to_string(port),
            "-I" + in.Dir(), "-O" + out.Dir(), "--config-dir", config.Path()};
}

std::string ServingDaemon::Url(const std::string& name) const {
    return "tftp://127.0.0.1:" + std::to_string(port) + "/" + name;
}

std::string ErrorFor(std::uint16_t port, const std::string& name, const std::string& address,
                     int timeoutMs) {
    TftpPeer peer(nullptr, address);
    return tftp::ErrorText(peer.Exchange(port, tftp::Rrq(name), timeoutMs).value_or(""));
}

ClientResult RunClient(const std::vector<std::string>& argv) {
    std::vector<std::string> timed{"timeout", "-k", "5", "60"};
    timed.insert(timed.end(), argv.begin(), argv.end());
    ChildProcess child(timed);
    const int status = child.WaitExit(75000).value_or(-1);
    return {status, child.Stdout(), child.Stderr()};
}

testing::AssertionResult FileHolds(const std::string& path, const std::string& expected) {
    std::error_code error;
    PollUntil([&] { return std::filesystem::file_size(path, error) == expected.size(); }, 5000);
    const std::string actual = ReadFile(path);
    if (FileExists(path) && actual == expected) {
        return testing::AssertionSuccess();
    }
    return testing::AssertionFailure() << path << " holds " << actual.size() << " bytes, "
                                       << expected.size() << " expected, or different ones";
}

void ExpectRoundTrips(const ServingDaemon& d, std::size_t blksize, const Transfer& client,
                      bool bGetEmpty) {
    for (const std::size_t size :
         {std::size_t{0}, blksize - 1, blksize, blksize + 1, std::size_t{3 * 1024 * 1024 + 7}}) {
        const std::string name = std::to_string(size) + ".bin";
        SCOPED_TRACE(name);
        const std::string bytes = PatternBytes(size, static_cast<unsigned>(size));
        WriteFile(d.out / name, bytes);
        if (size != 0 || bGetEmpty) {
            const ClientResult got = client(true, name, d.scratch / name);
            EXPECT_EQ(got.status, 0) << got.out << got.err;
            EXPECT_TRUE(FileHolds(d.scratch / name, bytes));
        }
        const ClientResult sent = client(false, "up-" + name, d.out / name);
        EXPECT_EQ(sent.status, 0) << sent.out << sent.err;
        EXPECT_TRUE(FileHolds(d.in / ("up-" + name), bytes));
    }
}
