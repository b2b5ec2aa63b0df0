#include "bench/Responder.h"

#include <arpa/inet.h>
#include <strings.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <optional>

#include "bench/TftpWire.h"

namespace bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::uint32_t kListenSlot = 0xFFFFFFFF;
constexpr auto kRetry = std::chrono::seconds(1);
constexpr int kMaxRetries = 5;

}  // namespace

struct Responder::Session {
    int fd = -1;
    sockaddr_in peer{};
    std::size_t size = 0;  // of the file it asked for
    std::size_t blksize = kDefaultBlockSize;
    std::uint16_t block = 0;  // the block last sent; 0 while an OACK waits for its ACK
    std::size_t offset = 0;   // where that block starts
    std::size_t length = 0;   // its payload
    std::string oack;         // kept for its retransmission until ACK 0
    Clock::time_point retryAt;
    int retries = 0;
};

Responder::Responder(std::string content, std::uint16_t port)
    : m_content(std::move(content)), m_buffer(kMaxPacket) {
    m_listen = OpenLoopbackUdp(port);
    m_epoll = epoll_create1(EPOLL_CLOEXEC);
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.u32 = kListenSlot;
    if (m_listen >= 0 && (m_epoll < 0 || epoll_ctl(m_epoll, EPOLL_CTL_ADD, m_listen, &event))) {
        close(m_listen);
        m_listen = -1;
    }
}

Responder::~Responder() {
    for (std::uint32_t slot = 0; slot < m_sessions.size(); ++slot) {
        End(slot);
    }
    if (m_listen >= 0) {
        close(m_listen);
    }
    if (m_epoll >= 0) {
        close(m_epoll);
    }
}

std::uint16_t Responder::Port() const {
    sockaddr_in local{};
    socklen_t length = sizeof local;
    getsockname(m_listen, reinterpret_cast<sockaddr*>(&local), &length);
    return ntohs(local.sin_port);
}

void Responder::Run(const std::atomic<bool>& stop, double seconds) {
    const Clock::time_point end = Clock::now() + std::chrono::duration_cast<Clock::duration>(
                                                     std::chrono::duration<double>(seconds));
    epoll_event events[256];
    Clock::time_point lastScan = Clock::now();
    while (Listening() && !stop && Clock::now() < end) {
        const int n = epoll_wait(m_epoll, events, 256, 10);
        for (int i = 0; i < n; ++i) {
            if (events[i].data.u32 == kListenSlot) {
                OnRequest();
            } else {
                OnPacket(events[i].data.u32);
            }
        }
        const Clock::time_point now = Clock::now();
        if (now - lastScan < std::chrono::milliseconds(10)) {
            continue;
        }
        lastScan = now;
        for (std::uint32_t slot = 0; slot < m_sessions.size(); ++slot) {
            Session* session = m_sessions[slot].get();
            if (session == nullptr || now < session->retryAt) {
                continue;
            }
            if (++session->retries > kMaxRetries) {
                End(slot);
            } else if (!session->oack.empty()) {
                SendPacket(session->fd, session->peer, session->oack);
                session->retryAt = now + kRetry;
            } else {
                SendBlock(*session, false);
            }
        }
    }
}

void Responder::OnRequest() {
    for (;;) {
        sockaddr_in from{};
        socklen_t fromLength = sizeof from;
        const ssize_t n = recvfrom(m_listen, m_buffer.data(), m_buffer.size(), 0,
                                   reinterpret_cast<sockaddr*>(&from), &fromLength);
        if (n < 0) {
            return;
        }
        const std::string_view request(m_buffer.data(), static_cast<std::size_t>(n));
        const std::size_t nameEnd = request.find('\0', 2);
        const std::size_t modeEnd =
            nameEnd == std::string_view::npos ? nameEnd : request.find('\0', nameEnd + 1);
        if (n < 2 || ReadWord(m_buffer.data()) != kRrq || modeEnd == std::string_view::npos) {
            SendPacket(m_listen, from, ErrorPacket(4, "this responder only reads"));
            continue;
        }
        const std::string mode(request.substr(nameEnd + 1, modeEnd - nameEnd - 1));
        const std::optional<Options> asked = ParseOptions(request.substr(modeEnd + 1));
        if (strcasecmp(mode.c_str(), "octet") != 0 || !asked) {
            SendPacket(m_listen, from, ErrorPacket(0, "octet requests only"));
            continue;
        }
        auto session = std::make_unique<Session>();
        session->peer = from;
        // A name that starts with a number asks for that many bytes of the content.
        const std::string file(request.substr(2, nameEnd - 2));
        const std::optional<std::size_t> prefix =
            ParseSize(file.substr(0, file.find_first_not_of("0123456789")));
        session->size = std::min(prefix.value_or(m_content.size()), m_content.size());
        Options answered;
        for (const auto& [name, text] : *asked) {
            const std::optional<std::size_t> value = ParseSize(text);
            if (!value) {
                continue;
            }
            if (strcasecmp(name.c_str(), "blksize") == 0 && *value >= kMinBlockSize) {
                session->blksize = std::min(*value, kMaxBlockSize);
                answered.emplace_back(name, std::to_string(session->blksize));
            } else if (strcasecmp(name.c_str(), "tsize") == 0) {
                answered.emplace_back(name, std::to_string(session->size));
            } else if (strcasecmp(name.c_str(), "timeout") == 0 && *value >= 1 && *value <= 255) {
                answered.emplace_back(name, text);
            }
        }
        session->fd = OpenLoopbackUdp();
        if (session->fd < 0) {
            SendPacket(m_listen, from, ErrorPacket(0, "no socket"));
            continue;
        }
        const auto free = std::find(m_sessions.begin(), m_sessions.end(), nullptr);
        const auto slot = static_cast<std::uint32_t>(free - m_sessions.begin());
        epoll_event event{};
        event.events = EPOLLIN;
        event.data.u32 = slot;
        epoll_ctl(m_epoll, EPOLL_CTL_ADD, session->fd, &event);
        Session& s = *session;
        if (free == m_sessions.end()) {
            m_sessions.push_back(std::move(session));
        } else {
            *free = std::move(session);
        }
        if (answered.empty()) {
            SendBlock(s, true);
        } else {
            s.oack = OackPacket(answered);
            SendPacket(s.fd, s.peer, s.oack);
            s.retryAt = Clock::now() + kRetry;
        }
    }
}

void Responder::OnPacket(std::uint32_t slot) {
    if (slot >= m_sessions.size() || !m_sessions[slot]) {
        return;
    }
    Session& session = *m_sessions[slot];
    // One datagram per wake-up; epoll reports the socket again while more wait.
    sockaddr_in from{};
    socklen_t fromLength = sizeof from;
    const ssize_t n = recvfrom(session.fd, m_buffer.data(), m_buffer.size(), 0,
                               reinterpret_cast<sockaddr*>(&from), &fromLength);
    if (n >= 4 && from.sin_port == session.peer.sin_port) {
        const std::uint16_t op = ReadWord(m_buffer.data());
        if (op == kError) {
            End(slot);
        } else if (op == kAck && ReadWord(m_buffer.data() + 2) == session.block) {
            session.oack.clear();
            if (session.block != 0 && session.length < session.blksize) {
                End(slot);
            } else {
                SendBlock(session, true);
            }
        }
    }
}

void Responder::SendBlock(Session& session, bool bNext) {
    if (bNext) {
        session.offset += session.length;
        session.length = std::min(session.blksize, session.size - session.offset);
        ++session.block;
        session.retries = 0;
    }
    char header[4];
    WriteWord(header, kData);
    WriteWord(header + 2, session.block);
    // The payload goes straight from the content, with no copy.
    iovec parts[2] = {{header, sizeof header}, {m_content.data() + session.offset, session.length}};
    msghdr message{};
    message.msg_name = &session.peer;
    message.msg_namelen = sizeof session.peer;
    message.msg_iov = parts;
    message.msg_iovlen = 2;
    sendmsg(session.fd, &message, 0);
    session.retryAt = Clock::now() + kRetry;
}

void Responder::End(std::uint32_t slot) {
    if (m_sessions[slot]) {
        close(m_sessions[slot]->fd);
        m_sessions[slot].reset();
    }
}

}  // namespace bench
