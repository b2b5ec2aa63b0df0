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

// A program run in home, also its XDG_CONFIG_HOME, with its output in home/stdout and stderr;
// killed and reaped at the end. With bPipe stdout is a one-page FIFO read only when asked.
class ChildProcess {
  public:
    explicit ChildProcess(const std::vector<std::string>& argv, bool bPipe = false);
    ~ChildProcess();
    // The exit status (128 + the signal's number if one ended it); nothing while it runs.
    std::optional<int> WaitExit(int timeoutMs = 5000);
    void Signal(int sig) const;
    bool WaitForStdout(const std::string& text, int timeoutMs = 5000);
    std::string Stdout();
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
    pid_t m_pid = -1;
    std::optional<int> m_status;
};

// quaylond, run in home, where its log lands.
class DaemonProcess : public ChildProcess {
  public:
    explicit DaemonProcess(std::vector<std::string> args, bool bPipe = false)
        : ChildProcess((args.insert(args.begin(), QUAYLOND_PATH), args), bPipe) {}
};

// quaylond run with args(*this) once a free port is set, serving address (default: out/, in/).
struct ServingDaemon {
    using ArgsFor = std::function<std::vector<std::string>(const ServingDaemon&)>;
    explicit ServingDaemon(const ArgsFor& args = {}, bool bPipe = false,
                           const std::string& address = "127.0.0.1");
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

// The error text of the reply to a read of name from address; "" for no reply.
std::string ErrorFor(std::uint16_t port, const std::string& name,
                     const std::string& address = "127.0.0.1", int timeoutMs = 2000);

// A client program run under timeout(1), so that a hung transfer ends as a failure.
ClientResult RunClient(const std::vector<std::string>& argv);

// The file holds the bytes once it has their size: the last ACK may come before the close.
testing::AssertionResult FileHolds(const std::string& path, const std::string& expected);

// A client's get (bGet) or put between a name on the server and a local path.
using Transfer =
    std::function<ClientResult(bool bGet, const std::string& remote, const std::string& local)>;

// 0, blksize - 1, blksize, blksize + 1 and 3 MiB bytes travel both ways (0 is got if bGetEmpty).
void ExpectRoundTrips(const ServingDaemon& d, std::size_t blksize, const Transfer& client,
                      bool bGetEmpty = true);
