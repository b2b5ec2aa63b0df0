#include "bench/TftpWire.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <charconv>

namespace bench {

std::uint16_t ReadWord(const char* p) {
    return static_cast<std::uint16_t>((static_cast<unsigned char>(p[0]) << 8) |
                                      static_cast<unsigned char>(p[1]));
}

void WriteWord(char* p, std::uint16_t value) {
    p[0] = static_cast<char>(value >> 8);
    p[1] = static_cast<char>(value & 0xFF);
}

namespace {

std::string Opcoded(Opcode op) {
    std::string packet(2, '\0');
    WriteWord(packet.data(), op);
    return packet;
}

void AppendOptions(std::string& packet, const Options& options) {
    for (const auto& [name, value] : options) {
        packet.append(name).push_back('\0');
        packet.append(value).push_back('\0');
    }
}

}  // namespace

std::string Request(Opcode op, std::string_view file, std::string_view mode,
                    const Options& options) {
    std::string packet = Opcoded(op);
    packet.append(file).push_back('\0');
    packet.append(mode).push_back('\0');
    AppendOptions(packet, options);
    return packet;
}

std::string ErrorPacket(std::uint16_t code, std::string_view text) {
    std::string packet = Opcoded(kError) + std::string(2, '\0');
    WriteWord(packet.data() + 2, code);
    packet.append(text).push_back('\0');
    return packet;
}

std::string OackPacket(const Options& options) {
    std::string packet = Opcoded(kOack);
    AppendOptions(packet, options);
    return packet;
}

std::optional<Options> ParseOptions(std::string_view body) {
    Options options;
    while (!body.empty()) {
        const std::size_t nameEnd = body.find('\0');
        const std::size_t valueEnd =
            nameEnd == std::string_view::npos ? nameEnd : body.find('\0', nameEnd + 1);
        if (valueEnd == std::string_view::npos) {
            return std::nullopt;
        }
        options.emplace_back(std::string(body.substr(0, nameEnd)),
                             std::string(body.substr(nameEnd + 1, valueEnd - nameEnd - 1)));
        body.remove_prefix(valueEnd + 1);
    }
    return options;
}

std::string DescribeError(const char* packet, std::size_t length) {
    if (length < 4) {
        return "short ERROR packet";
    }
    const std::string_view text(packet + 4, length - 4);
    return "code " + std::to_string(ReadWord(packet + 2)) + ": " +
           std::string(text.substr(0, text.find('\0')));
}

std::optional<std::size_t> ParseSize(std::string_view text) {
    std::size_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || text.empty()) {
        return std::nullopt;
    }
    return value;
}

std::string PatternBytes(std::size_t size) {
    std::string bytes(size, '\0');
    std::uint64_t state = 0x9E3779B97F4A7C15ULL;
    for (char& byte : bytes) {
        // Knuth's MMIX generator; its top byte has no period that a block size could hit.
        state = state * 6364136223846793005ULL + 1442695040888963407ULL;
        byte = static_cast<char>(state >> 56);
    }
    return bytes;
}

std::size_t NetasciiEncoder::Fill(char* out, std::size_t n) {
    std::size_t count = 0;
    while (count < n) {
        if (m_pending >= 0) {
            out[count++] = static_cast<char>(m_pending);
            m_pending = -1;
        } else if (m_pos < m_source.size()) {
            const char c = m_source[m_pos++];
            if (c == '\n' || c == '\r') {
                out[count++] = '\r';
                m_pending = c == '\n' ? '\n' : '\0';
            } else {
                out[count++] = c;
            }
        } else {
            break;
        }
    }
    return count;
}

void NetasciiDecoder::Feed(const char* wire, std::size_t n, std::string& out) {
    for (std::size_t i = 0; i < n; ++i) {
        const char c = wire[i];
        if (m_bPendingCr) {
            m_bPendingCr = false;
            if (c == '\n' || c == '\0') {
                out.push_back(c == '\n' ? '\n' : '\r');
                continue;
            }
            out.push_back('\r');
        }
        if (c == '\r') {
            m_bPendingCr = true;
        } else {
            out.push_back(c);
        }
    }
}

void NetasciiDecoder::Finish(std::string& out) {
    if (m_bPendingCr) {
        out.push_back('\r');
        m_bPendingCr = false;
    }
}

int OpenLoopbackUdp(std::uint16_t port) {
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        return -1;
    }
    sockaddr_in local{};
    local.sin_family = AF_INET;
    local.sin_port = htons(port);
    local.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (bind(fd, reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0) {
        close(fd);
        return -1;
    }
    return fd;
}

std::optional<sockaddr_in> Ipv4Address(const std::string& host, std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    if (inet_pton(AF_INET, host.c_str(), &address.sin_addr) != 1) {
        return std::nullopt;
    }
    return address;
}

bool IsLoopback(const sockaddr_in& address) {
    return (ntohl(address.sin_addr.s_addr) >> 24) == 127;
}

void SendPacket(int fd, const sockaddr_in& to, const char* data, std::size_t length) {
    // A datagram the kernel refuses counts as lost; the sender's time-out sends it again.
    sendto(fd, data, length, 0, reinterpret_cast<const sockaddr*>(&to), sizeof to);
}

}  // namespace bench
