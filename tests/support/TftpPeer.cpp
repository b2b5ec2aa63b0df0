#include "support/TftpPeer.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <stdexcept>

namespace tftp {

namespace {
std::string Header(std::uint16_t opcode, std::uint16_t number) {
    std::string header(4, '\0');
    bench::WriteWord(header.data(), opcode);
    bench::WriteWord(header.data() + 2, number);
    return header;
}
std::uint16_t WordAt(const std::string& packet, std::size_t at) {
    return packet.size() < at + 2 ? 0 : bench::ReadWord(packet.data() + at);
}
}  // namespace

std::string Ack(std::uint16_t block) {
    return Header(bench::kAck, block);
}
std::string Data(std::uint16_t block, const std::string& payload) {
    return Header(bench::kData, block) + payload;
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

sockaddr_in BoundAddress(int fd) {
    sockaddr_in local{};
    socklen_t len = sizeof local;
    getsockname(fd, reinterpret_cast<sockaddr*>(&local), &len);
    return local;
}

TftpPeer::TftpPeer(std::function<void()> pump, const std::string& address)
    : m_pump(std::move(pump)),
      m_fd(socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)),
      m_last(*bench::Ipv4Address("127.0.0.1", 0)) {
    const auto local = bench::Ipv4Address(address, 0);
    if (m_fd < 0 || !local ||
        bind(m_fd, reinterpret_cast<const sockaddr*>(&*local), sizeof *local) != 0) {
        throw std::runtime_error("cannot bind test peer on " + address);
    }
}

TftpPeer::~TftpPeer() {
    close(m_fd);
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
