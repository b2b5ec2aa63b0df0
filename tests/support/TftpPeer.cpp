#include "support/TftpPeer.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <stdexcept>

namespace tftp {

namespace {
std::string Word(std::uint16_t value) {
    return std::string{static_cast<char>(value >> 8), static_cast<char>(value & 0xFF)};
}
std::uint16_t WordAt(const std::string& packet, std::size_t at) {
    return packet.size() < at + 2
               ? 0
               : static_cast<std::uint16_t>((static_cast<unsigned char>(packet[at]) << 8) |
                                            static_cast<unsigned char>(packet[at + 1]));
}
std::string Strings(std::uint16_t opcode, const Options& pairs) {
    std::string packet = Word(opcode);
    for (const auto& [name, value] : pairs) {
        packet += name + '\0' + value + '\0';
    }
    return packet;
}
}  // namespace

std::string Request(std::uint16_t opcode, const std::string& file, const std::string& mode,
                    const Options& options) {
    Options fields{{file, mode}};
    fields.insert(fields.end(), options.begin(), options.end());
    return Strings(opcode, fields);
}
std::string Rrq(const std::string& file, const std::string& mode, const Options& options) {
    return Request(1, file, mode, options);
}
std::string Wrq(const std::string& file, const std::string& mode, const Options& options) {
    return Request(2, file, mode, options);
}
std::string Oack(const Options& options) {
    return Strings(6, options);
}
std::string Ack(std::uint16_t block) {
    return Word(4) + Word(block);
}
std::string Data(std::uint16_t block, const std::string& payload) {
    return Word(3) + Word(block) + payload;
}
std::string Error(std::uint16_t code, const std::string& text) {
    return Word(5) + Word(code) + text + '\0';
}

std::uint16_t Opcode(const std::string& packet) {
    return WordAt(packet, 0);
}
std::uint16_t Number(const std::string& packet) {
    return WordAt(packet, 2);
}
std::string Payload(const std::string& packet) {
    return packet.size() < 4 ? std::string() : packet.substr(4);
}
std::string ErrorText(const std::string& packet) {
    const std::string rest = Payload(packet);
    return rest.substr(0, rest.find('\0'));
}

}  // namespace tftp

TftpPeer::TftpPeer(std::function<void()> pump, const std::string& address)
    : m_pump(std::move(pump)) {
    m_fd = socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    sockaddr_in local{};
    local.sin_family = AF_INET;
    inet_pton(AF_INET, address.c_str(), &local.sin_addr);
    if (m_fd < 0 || bind(m_fd, reinterpret_cast<sockaddr*>(&local), sizeof local) != 0) {
        throw std::runtime_error("cannot bind test peer on " + address);
    }
    m_last.sin_family = AF_INET;
    inet_pton(AF_INET, "127.0.0.1", &m_last.sin_addr);
}

TftpPeer::~TftpPeer() {
    close(m_fd);
}

void TftpPeer::SendTo(std::uint16_t port, const std::string& packet) {
    m_last.sin_port = htons(port);
    Reply(packet);
}

void TftpPeer::Reply(const std::string& packet) {
    sendto(m_fd, packet.data(), packet.size(), 0, reinterpret_cast<sockaddr*>(&m_last),
           sizeof m_last);
}

sockaddr_in TftpPeer::Address() const {
    sockaddr_in local{};
    socklen_t len = sizeof local;
    getsockname(m_fd, reinterpret_cast<sockaddr*>(&local), &len);
    return local;
}

std::optional<std::string> TftpPeer::Receive(int timeoutMs) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    char buffer[70000];
    do {
        if (m_pump) {
            m_pump();
        }
        pollfd pfd{m_fd, POLLIN, 0};
        if (poll(&pfd, 1, std::min(timeoutMs, m_pump ? 1 : 10)) > 0) {
            socklen_t len = sizeof m_last;
            const ssize_t n = recvfrom(m_fd, buffer, sizeof buffer, 0,
                                       reinterpret_cast<sockaddr*>(&m_last), &len);
            if (n >= 0) {
                return std::string(buffer, static_cast<std::size_t>(n));
            }
        }
    } while (std::chrono::steady_clock::now() < deadline);
    return std::nullopt;
}

std::optional<std::string> TftpPeer::Exchange(std::uint16_t port, const std::string& packet,
                                              int timeoutMs) {
    SendTo(port, packet);
    return Receive(timeoutMs);
}
