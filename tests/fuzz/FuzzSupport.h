#pragma once

#include <netinet/in.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

// Ends the run with the broken property on the standard error the process started with, which
// libFuzzer's -close_fd_mask=2 leaves open; libFuzzer keeps the input as a crash.
[[noreturn]] void FuzzFail(const char* property);

inline void Require(bool bHolds, const char* property) {
    if (!bHolds) {
        FuzzFail(property);
    }
}

// A directory of its own, in memory when /dev/shm is there so that the store's fsync costs
// nothing; removed with its contents when it goes.
class ScratchDir {
  public:
    ScratchDir();
    ~ScratchDir();
    ScratchDir(const ScratchDir&) = delete;
    ScratchDir& operator=(const ScratchDir&) = delete;

    const std::string& Path() const { return m_path; }
    std::string operator/(const std::string& name) const { return m_path + "/" + name; }

  private:
    std::string m_path;
};

// Removes every entry of dir except the one named keep.
void ClearDirectory(const std::string& dir, const std::string& keep = "");

// The client's end: a UDP socket on 127.0.0.1 that collects what the server sends it.
class ReplySink {
  public:
    ReplySink();
    ~ReplySink();
    ReplySink(const ReplySink&) = delete;
    ReplySink& operator=(const ReplySink&) = delete;

    const sockaddr_in& Address() const { return m_address; }
    // Every datagram that has arrived, with the port it came from.
    std::vector<std::pair<std::uint16_t, std::string>> Drain();

  private:
    int m_fd = -1;
    sockaddr_in m_address{};
    std::vector<char> m_buffer;
};
