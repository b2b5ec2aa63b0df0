#pragma once

#include <netinet/in.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "bench/TftpWire.h"

// The load client's packet builders with defaults, and a reply's fields (0 or "" if too short).
namespace tftp {
using bench::Options;
inline std::string Rrq(const std::string& file, const std::string& mode = "octet",
                       const Options& options = {}) {
    return bench::Request(bench::kRrq, file, mode, options);
}
inline std::string Wrq(const std::string& file, const std::string& mode = "octet",
                       const Options& options = {}) {
    return bench::Request(bench::kWrq, file, mode, options);
}
inline std::string Oack(const Options& options) {
    return bench::OackPacket(options);
}
inline std::string Error(std::uint16_t code, const std::string& text) {
    return bench::ErrorPacket(code, text);
}
std::string Ack(std::uint16_t block);
std::string Data(std::uint16_t block, const std::string& payload);

std::uint16_t Opcode(const std::string& packet);
std::uint16_t Number(const std::string& packet);  // block or error code
std::string Payload(const std::string& packet);   // what follows the 4-byte header
std::string ErrorText(const std::string& packet);
}  // namespace tftp

sockaddr_in BoundAddress(int fd);

// A raw client socket on a loopback address; every wait is bounded and runs the server's pump.
class TftpPeer {
  public:
    explicit TftpPeer(std::function<void()> pump, const std::string& address = "127.0.0.1");
    ~TftpPeer();
    TftpPeer(const TftpPeer&) = delete;
    TftpPeer& operator=(const TftpPeer&) = delete;

    void SendTo(std::uint16_t port, const std::string& packet) {
        m_last.sin_port = htons(port);
        Reply(packet);
    }
    // Replies go back to whoever sent the last reply.
    void Reply(const std::string& packet) { bench::SendPacket(m_fd, m_last, packet); }
    // The bound local address, for code that sends to this peer directly.
    sockaddr_in Address() const { return BoundAddress(m_fd); }
    // The next datagram, or nothing within the time (0: only one already there).
    std::optional<std::string> Receive(int timeoutMs = 2000);
    std::optional<std::string> Exchange(std::uint16_t port, const std::string& packet,
                                        int timeoutMs = 2000) {
        SendTo(port, packet);
        return Receive(timeoutMs);
    }
    std::optional<std::string> Answer(const std::string& packet, int timeoutMs = 2000) {
        Reply(packet);
        return Receive(timeoutMs);
    }
    // The port of the last reply's sender (before any reply, the port last sent to).
    std::uint16_t LastSenderPort() const { return ntohs(m_last.sin_port); }

  private:
    std::function<void()> m_pump;
    int m_fd;
    sockaddr_in m_last;
};
