#pragma once

#include <netinet/in.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

// Builders and readers of raw TFTP packets.
namespace tftp {
using Options = std::vector<std::pair<std::string, std::string>>;
std::string Request(std::uint16_t opcode, const std::string& file, const std::string& mode,
                    const Options& options = {});
std::string Rrq(const std::string& file, const std::string& mode = "octet",
                const Options& options = {});
std::string Wrq(const std::string& file, const std::string& mode = "octet",
                const Options& options = {});
std::string Oack(const Options& options);
std::string Ack(std::uint16_t block);
std::string Data(std::uint16_t block, const std::string& payload);
std::string Error(std::uint16_t code, const std::string& text);

std::uint16_t Opcode(const std::string& packet);
std::uint16_t Number(const std::string& packet);  // block or error code
std::string Payload(const std::string& packet);   // what follows the 4-byte header
std::string ErrorText(const std::string& packet);
}  // namespace tftp

// A client socket on a loopback address that talks raw packets to a server. Every wait runs
// the given pump (the server's loop, when it lives in the same process) and is bounded.
class TftpPeer {
  public:
    explicit TftpPeer(std::function<void()> pump, const std::string& address = "127.0.0.1");
    ~TftpPeer();
    TftpPeer(const TftpPeer&) = delete;
    TftpPeer& operator=(const TftpPeer&) = delete;

    void SendTo(std::uint16_t port, const std::string& packet);
    // Replies go back to whoever sent the last reply.
    void Reply(const std::string& packet);
    // The bound local address, for code that sends to this peer directly.
    sockaddr_in Address() const;
    // The next datagram, or nothing within the time (0: only one already there).
    std::optional<std::string> Receive(int timeoutMs = 2000);
    std::optional<std::string> Exchange(std::uint16_t port, const std::string& packet,
                                        int timeoutMs = 2000);
    // Reply, then the next datagram.
    std::optional<std::string> Answer(const std::string& packet, int timeoutMs = 2000) {
        Reply(packet);
        return Receive(timeoutMs);
    }
    // The port of the last reply's sender (before any reply, the port last sent to).
    std::uint16_t LastSenderPort() const { return ntohs(m_last.sin_port); }

  private:
    std::function<void()> m_pump;
    int m_fd = -1;
    sockaddr_in m_last{};
};
