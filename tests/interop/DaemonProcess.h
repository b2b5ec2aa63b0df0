#pragma once

#include <gtest/gtest.h>
#include <sys/types.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "support/TempDir.h"

// A program run as a child process with its standard output and error in files. Every wait is
// bounded; a child still running when the object goes is killed and reaped.
class ChildProcess {
  public:
    // env holds NAME=value entries that replace or extend this process's environment.
    ChildProcess(const std::vector<std::string>& argv, const std::string& stdoutPath,
                 const std::string& stderrPath, const std::string& workDir = "",
                 const std::vector<std::string>& env = {});
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    bool Started() const { return m_pid > 0; }
    // The exit status (128 + the signal's number if a signal ended it), or nothing if the child
    // is still running after timeoutMs.
    std::optional<int> WaitExit(int timeoutMs);
    void Signal(int sig) const;

  private:
    pid_t m_pid = -1;
    std::optional<int> m_status;
};

// quaylond with the given arguments, in a directory of its own that is also its working
// directory (the log file lands there) and its XDG_CONFIG_HOME, so that no run touches the
// user's settings. The destructor ends it with SIGTERM, and SIGKILL if that is not enough.
class DaemonProcess {
  public:
    explicit DaemonProcess(const std::vector<std::string>& args);
    ~DaemonProcess();

    // Waits until standard output holds the text; false if it does not within the time or the
    // daemon ends first.
    bool WaitForStdout(const std::string& text, int timeoutMs = 5000);
    std::optional<int> WaitExit(int timeoutMs = 5000) { return m_child->WaitExit(timeoutMs); }
    void Signal(int sig) const { m_child->Signal(sig); }
    // SIGTERM, then a bounded wait; the exit status, or 128 + SIGKILL if it had to be killed.
    int Stop();

    std::string Stdout() const { return ReadFile(m_home / "stdout"); }
    std::string Stderr() const { return ReadFile(m_home / "stderr"); }
    const TempDir& Home() const { return m_home; }

  private:
    TempDir m_home;
    std::unique_ptr<ChildProcess> m_child;
};

// A daemon serving on 127.0.0.1 and a free port, sending files from out/ and receiving into
// in/. Check Serving() before using it.
class ServingDaemon {
  public:
    ServingDaemon();

    bool Serving() const { return m_bServing; }
    std::uint16_t Port() const { return m_port; }
    // The arguments that serve these directories on the given port.
    std::vector<std::string> Args(std::uint16_t port) const;
    std::string Url(const std::string& name) const;
    DaemonProcess& Process() { return *m_process; }

    TempDir in;
    TempDir out;
    TempDir config;
    TempDir scratch;  // the clients' side of every transfer

  private:
    std::uint16_t m_port = 0;
    bool m_bServing = false;
    std::unique_ptr<DaemonProcess> m_process;
};

struct ClientResult {
    int status = -1;  // -1: did not end in time
    std::string out;
    std::string err;
};

// A client program run under timeout(1), so that a hung transfer ends as a failure.
class Client {
  public:
    explicit Client(const std::vector<std::string>& argv, int timeoutSeconds = 60);
    ClientResult Wait();

  private:
    TempDir m_dir;
    int m_timeoutSeconds;
    ChildProcess m_child;
};

inline ClientResult RunClient(const std::vector<std::string>& argv, int timeoutSeconds = 60) {
    return Client(argv, timeoutSeconds).Wait();
}

// The contents of the file equal the bytes; on a mismatch the sizes and the first differing
// offset, never the bytes themselves.
testing::AssertionResult FileHolds(const std::string& path, const std::string& expected);

// Waits, bounded, until the file exists with the given size: the server acknowledges a write's
// last block before it closes the file, so a client may end a moment before the file is complete.
// A comparison of the contents follows it and tells the outcome.
void WaitForFileSize(const std::string& path, std::size_t size, int timeoutMs = 5000);

// Sizes around one block of blksize bytes, an empty file and a few megabytes, with file names.
std::vector<std::pair<std::string, std::size_t>> BoundarySizes(std::size_t blksize);
