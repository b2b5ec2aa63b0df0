#pragma once

#include <gtest/gtest.h>
#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "support/TempDir.h"

// A program run in dir with its output in dir/stdout and dir/stderr. A child still running
// when the object goes is killed and reaped.
class ChildProcess {
  public:
    ChildProcess(const std::vector<std::string>& argv, const TempDir& dir);
    ~ChildProcess();
    // The exit status (128 + the signal's number if one ended it); nothing while it runs.
    std::optional<int> WaitExit(int timeoutMs = 5000);
    void Signal(int sig) const;

  private:
    pid_t m_pid = -1;
    std::optional<int> m_status;
};

// quaylond in a directory of its own that is its working directory (the log lands there) and
// its XDG_CONFIG_HOME, so no run touches the user's settings. Ends with SIGTERM at the latest.
class DaemonProcess {
  public:
    explicit DaemonProcess(const std::vector<std::string>& args);
    ~DaemonProcess() { Stop(); }
    // Whether standard output holds the text within the time.
    bool WaitForStdout(const std::string& text, int timeoutMs = 5000);
    std::optional<int> WaitExit() { return m_child.WaitExit(); }
    void Signal(int sig) const { m_child.Signal(sig); }
    // SIGTERM, then the exit status, or -1 if it is still running after ten seconds.
    int Stop();
    std::string Stdout() const { return ReadFile(home / "stdout"); }
    std::string Stderr() const { return ReadFile(home / "stderr"); }

    TempDir home;

  private:
    ChildProcess m_child;
};

// A daemon on 127.0.0.1 and a free port. The default serves out/ and receives into in/.
struct ServingDaemon {
    ServingDaemon() {
        Start([this](std::uint16_t p) { return Args(p); });
    }
    // Not started yet: the test calls Start.
    explicit ServingDaemon(bool) {}
    // Starts the daemon with the arguments for a free port, trying again if it was taken.
    void Start(const std::function<std::vector<std::string>(std::uint16_t)>& args);
    std::vector<std::string> Args(std::uint16_t port) const;
    std::string Url(const std::string& name) const;

    TempDir in, out, config, scratch;  // scratch: the clients' side of every transfer
    std::uint16_t port = 0;
    bool bServing = false;
    std::unique_ptr<DaemonProcess> process;
};

struct ClientResult {
    int status = -1;  // -1: did not end in time
    std::string out, err;
};

// A client program run under timeout(1), so that a hung transfer ends as a failure.
ClientResult RunClient(const std::vector<std::string>& argv);

// The file holds the bytes, once it has their size: the server acknowledges a write's last block
// before it closes the file. A mismatch names the sizes, never the bytes.
testing::AssertionResult FileHolds(const std::string& path, const std::string& expected);

// A client's get (bGet) or put between a name on the server and a local path.
using Transfer =
    std::function<ClientResult(bool bGet, const std::string& remote, const std::string& local)>;

// Files of 0, blksize - 1, blksize and blksize + 1 bytes and one of a few megabytes travel both
// ways intact; the empty one is fetched only if bGetEmpty.
void ExpectRoundTrips(const ServingDaemon& d, std::size_t blksize, const Transfer& client,
                      bool bGetEmpty = true);
