#pragma once

#include <sys/types.h>

#include <cstdint>
#include <set>
#include <string>
#include <vector>

// What a server costs, read from /proc and taskstats: the process and every process it forks.
namespace bench {

struct TreeSample {
    double cpuSeconds = 0;     // user and system time of the live processes
    double reapedSeconds = 0;  // that of the children they have waited for
    std::uint64_t hwmKiB = 0;  // their peaks of resident memory (VmHWM), summed
    std::vector<pid_t> pids;
};

std::vector<pid_t> ProcessTree(pid_t root);
TreeSample SampleTree(pid_t root);
// Starts every peak of the tree afresh from the memory resident now.
void ResetPeaks(pid_t root);

// The CPU time of the tasks that end while it listens and whose parent is in a tree. /proc
// loses a process at its end, and a parent that lets the kernel reap its children never gets
// their time; taskstats reports every end (root only).
class ExitListener {
  public:
    ExitListener();
    ~ExitListener();
    ExitListener(const ExitListener&) = delete;
    ExitListener& operator=(const ExitListener&) = delete;

    bool Listening() const { return m_fd >= 0; }
    // Takes what arrives for the time; a task whose parent is in tree counts and joins it.
    void Listen(int ms, std::set<pid_t>& tree);
    double Seconds() const { return m_seconds; }
    std::size_t Ends() const { return m_count; }
    // Whether ends were lost because they came faster than they were read.
    bool Overflowed() const { return m_bOverflowed; }

  private:
    void Take(const char* p, std::size_t n, std::set<pid_t>& tree);
    bool Send(std::uint16_t type, std::uint8_t command, std::uint16_t attribute,
              const std::string& value);
    void Close();

    int m_fd = -1;
    std::uint16_t m_family = 0;
    std::string m_cpus;
    double m_seconds = 0;
    std::size_t m_count = 0;
    bool m_bOverflowed = false;
};

}  // namespace bench
