#include "interop/DaemonProcess.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <chrono>
#include <thread>

#include "support/ServerHarness.h"

extern char** environ;

namespace {

constexpr auto kPollInterval = std::chrono::milliseconds(10);
constexpr int kStartAttempts = 3;

int DecodeStatus(int raw) {
    if (WIFEXITED(raw)) {
        return WEXITSTATUS(raw);
    }
    return WIFSIGNALED(raw) ? 128 + WTERMSIG(raw) : -1;
}

std::vector<std::string> MergeEnvironment(const std::vector<std::string>& overrides) {
    std::vector<std::string> merged;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string text = *entry;
        const std::string name = text.substr(0, text.find('=') + 1);
        bool bOverridden = false;
        for (const std::string& o : overrides) {
            bOverridden = bOverridden || o.rfind(name, 0) == 0;
        }
        if (!bOverridden) {
            merged.push_back(text);
        }
    }
    merged.insert(merged.end(), overrides.begin(), overrides.end());
    return merged;
}

std::vector<char*> Pointers(std::vector<std::string>& strings) {
    std::vector<char*> pointers;
    for (std::string& s : strings) {
        pointers.push_back(s.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& argv, const std::string& stdoutPath,
                           const std::string& stderrPath, const std::string& workDir,
                           const std::vector<std::string>& env) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, stdoutPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                     0644);
    posix_spawn_file_actions_addopen(&actions, 2, stderrPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                     0644);
    if (!workDir.empty()) {
        posix_spawn_file_actions_addchdir_np(&actions, workDir.c_str());
    }
    std::vector<std::string> args = argv;
    std::vector<std::string> environment = MergeEnvironment(env);
    std::vector<char*> argPointers = Pointers(args);
    std::vector<char*> envPointers = Pointers(environment);
    pid_t pid = -1;
    if (posix_spawnp(&pid, argPointers[0], &actions, nullptr, argPointers.data(),
                     envPointers.data()) == 0) {
        m_pid = pid;
    }
    posix_spawn_file_actions_destroy(&actions);
}

ChildProcess::~ChildProcess() {
    if (Started() && !m_status) {
        Signal(SIGKILL);
        WaitExit(5000);
    }
}

std::optional<int> ChildProcess::WaitExit(int timeoutMs) {
    if (!Started() || m_status) {
        return m_status;
    }
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    for (;;) {
        int raw = 0;
        const pid_t done = waitpid(m_pid, &raw, WNOHANG);
        if (done == m_pid) {
            m_status = DecodeStatus(raw);
            return m_status;
        }
        if (done < 0 || std::chrono::steady_clock::now() >= deadline) {
            return std::nullopt;
        }
        std::this_thread::sleep_for(kPollInterval);
    }
}

void ChildProcess::Signal(int sig) const {
    if (Started() && !m_status) {
        kill(m_pid, sig);
    }
}

DaemonProcess::DaemonProcess(const std::vector<std::string>& args) {
    std::vector<std::string> argv{QUAYLOND_PATH};
    argv.insert(argv.end(), args.begin(), args.end());
    m_child = std::make_unique<ChildProcess>(
        argv, m_home / "stdout", m_home / "stderr", m_home.Path(),
        std::vector<std::string>{"XDG_CONFIG_HOME=" + m_home.Path()});
}

DaemonProcess::~DaemonProcess() {
    Stop();
}

bool DaemonProcess::WaitForStdout(const std::string& text, int timeoutMs) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    for (;;) {
        if (Stdout().find(text) != std::string::npos) {
            return true;
        }
        if (m_child->WaitExit(0) || std::chrono::steady_clock::now() >= deadline) {
            // The text may have been written just before the end.
            return Stdout().find(text) != std::string::npos;
        }
        std::this_thread::sleep_for(kPollInterval);
    }
}

int DaemonProcess::Stop() {
    if (const auto status = m_child->WaitExit(0)) {
        return *status;
    }
    m_child->Signal(SIGTERM);
    if (const auto status = m_child->WaitExit(10000)) {
        return *status;
    }
    m_child->Signal(SIGKILL);
    return m_child->WaitExit(5000).value_or(-1);
}

ServingDaemon::ServingDaemon() {
    // The free port can be taken by someone else before the daemon binds it; then try another.
    for (int attempt = 0; attempt < kStartAttempts && !m_bServing; ++attempt) {
        m_port = FreeUdpPort();
        m_process = std::make_unique<DaemonProcess>(Args(m_port));
        m_bServing = m_process->WaitForStdout("Quaylon serving on 127.0.0.1." +
                                              std::to_string(m_port) + "\n");
        if (!m_bServing &&
            m_process->Stderr().find("Unable to Create listening port") == std::string::npos) {
            break;
        }
    }
}

std::vector<std::string> ServingDaemon::Args(std::uint16_t port) const {
    return {"--bind",        "127.0.0.1",      "--port",       std::to_string(port),
            "-I" + in.Dir(), "-O" + out.Dir(), "--config-dir", config.Path()};
}

std::string ServingDaemon::Url(const std::string& name) const {
    return "tftp://127.0.0.1:" + std::to_string(m_port) + "/" + name;
}

Client::Client(const std::vector<std::string>& argv, int timeoutSeconds)
    : m_timeoutSeconds(timeoutSeconds),
      m_child(
          [&] {
              std::vector<std::string> wrapped{"timeout", "-k", "5",
                                               std::to_string(timeoutSeconds)};
              wrapped.insert(wrapped.end(), argv.begin(), argv.end());
              return wrapped;
          }(),
          m_dir / "stdout", m_dir / "stderr") {}

ClientResult Client::Wait() {
    ClientResult result;
    // timeout(1) ends the client itself; the margin only covers a stuck timeout.
    result.status = m_child.WaitExit((m_timeoutSeconds + 15) * 1000).value_or(-1);
    result.out = ReadFile(m_dir / "stdout");
    result.err = ReadFile(m_dir / "stderr");
    return result;
}

testing::AssertionResult FileHolds(const std::string& path, const std::string& expected) {
    if (!FileExists(path)) {
        return testing::AssertionFailure() << path << " does not exist";
    }
    const std::string actual = ReadFile(path);
    if (actual == expected) {
        return testing::AssertionSuccess();
    }
    std::size_t first = 0;
    while (first < actual.size() && first < expected.size() && actual[first] == expected[first]) {
        ++first;
    }
    return testing::AssertionFailure()
           << path << " holds " << actual.size() << " bytes, " << expected.size()
           << " expected; first difference at " << first;
}

void WaitForFileSize(const std::string& path, std::size_t size, int timeoutMs) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    for (;;) {
        struct stat info {};
        if ((stat(path.c_str(), &info) == 0 && static_cast<std::size_t>(info.st_size) == size) ||
            std::chrono::steady_clock::now() >= deadline) {
            return;
        }
        std::this_thread::sleep_for(kPollInterval);
    }
}

std::vector<std::pair<std::string, std::size_t>> BoundarySizes(std::size_t blksize) {
    return {{"empty.bin", 0},
            {"under.bin", blksize - 1},
            {"exact.bin", blksize},
            {"over.bin", blksize + 1},
            {"large.bin", 3 * 1024 * 1024 + 7}};
}
