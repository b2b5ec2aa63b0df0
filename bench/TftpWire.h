#pragma once

#include <netinet/in.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// What the load client and its responder share: packets, netascii, loopback sockets.
namespace bench {

enum Opcode : std::uint16_t { kRrq = 1, kWrq = 2, kData = 3, kAck = 4, kError = 5, kOack = 6 };

constexpr std::size_t kDefaultBlockSize = 512;
constexpr std::size_t kMinBlockSize = 8;
constexpr std::size_t kMaxBlockSize = 65464;
// Room for the largest DATA and a byte more, so an oversized datagram shows.
constexpr std::size_t kMaxPacket = kMaxBlockSize + 5;

using Options = std::vector<std::pair<std::string, std::string>>;

std::uint16_t ReadWord(const char* p);
void WriteWord(char* p, std::uint16_t value);
std::string Request(Opcode op, std::string_view file, std::string_view mode,
                    const Options& options);
std::string ErrorPacket(std::uint16_t code, std::string_view text);
std::string OackPacket(const Options& options);
// The "name\0value\0" pairs of an OACK body or a request's tail; nothing if one is cut short.
std::optional<Options> ParseOptions(std::string_view body);
// An ERROR packet as "code N: text".
std::string DescribeError(const char* packet, std::size_t length);
std::optional<std::size_t> ParseSize(std::string_view text);

// Bytes of no short period, so a block delivered at the wrong offset cannot match.
std::string PatternBytes(std::size_t size);

// Local bytes to netascii (LF as CR LF, CR as CR NUL), a block at a time.
class NetasciiEncoder {
  public:
    explicit NetasciiEncoder(std::string_view source = {}) : m_source(source) {}
    // Up to n wire bytes into out; fewer only once the source is used up.
    std::size_t Fill(char* out, std::size_t n);
    std::size_t Consumed() const { return m_pos; }

  private:
    std::string_view m_source;
    std::size_t m_pos = 0;
    int m_pending = -1;  // the second byte of a pair that did not fit the last block
};

// Netascii back to local bytes; a pair split across two blocks is joined.
class NetasciiDecoder {
  public:
    void Feed(const char* wire, std::size_t n, std::string& out);
    // A CR that ended the stream stands for itself.
    void Finish(std::string& out);

  private:
    bool m_bPendingCr = false;
};

// A non-blocking UDP socket bound to 127.0.0.1 and port (0: any); -1 if that fails.
int OpenLoopbackUdp(std::uint16_t port = 0);
std::optional<sockaddr_in> Ipv4Address(const std::string& host, std::uint16_t port);
bool IsLoopback(const sockaddr_in& address);
void SendPacket(int fd, const sockaddr_in& to, const char* data, std::size_t length);
inline void SendPacket(int fd, const sockaddr_in& to, const std::string& packet) {
    SendPacket(fd, to, packet.data(), packet.size());
}

}  // namespace bench
