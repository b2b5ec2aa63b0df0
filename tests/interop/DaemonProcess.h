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

// A program run in dir, which is also its XDG_CONFIG_HOME so that no run touches the user's
// settings, with its output in dir/stdout and dir/stderr. Killed and reaped at the end.
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

// quaylond run in home, where its log lands. With bPipe its standard output is a FIFO of one
// page that is read only when Stdout() is asked, and whose reading end can be closed.
class DaemonProcess {
  public:
    explicit DaemonProcess(std::vector<std::string> args, bool bPipe = false);
    ~DaemonProcess();
    // Whether standard output holds the text within the time.
    bool WaitForStdout(const std::string& text, int timeoutMs = 5000);
    std::optional<int> WaitExit() { return m_child.WaitExit(); }
    void Signal(int sig) const { m_child.Signal(sig); }
    // SIGTERM, then the exit status, or -1 if it is still running after ten seconds.
    int Stop();
    std::string Stdout();
    // Reads the pipe empty and forgets what it held.
    void EmptyStdout() {
        Stdout();
        m_piped.clear();
    }
    std::string Stderr() const { return ReadFile(home / "stderr"); }
    void CloseStdout();

    TempDir home;

  private:
    bool m_bPipe;
    int m_reader;
    std::string m_piped;
    ChildProcess m_child;
};

// A daemon on 127.0.0.1 and a free port, started with args(*this) once port is set; without
// them it serves out/ and receives into in/.
struct ServingDaemon {
    using ArgsFor = std::function<std::vector<std::string>(const ServingDaemon&)>;
    explicit ServingDaemon(const ArgsFor& args = {}, bool bPipe = false);
    std::vector<std::string> Args() const;
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

// The text that the reply to a read of name from address carries past its header, up to a zero
// byte, as an ERROR holds it; "" for no reply.
std::string ErrorFor(std::uint16_t port, const std::string& name,
                     const std::string& address = "127.0.0.1", int timeoutMs = 2000);

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
