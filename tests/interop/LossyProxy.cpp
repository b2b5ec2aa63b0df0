#include "interop/LossyProxy.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "bench/TftpWire.h"

LossyProxy::LossyProxy(std::uint16_t serverPort)
    : m_serverPort(serverPort), m_listen(bench::OpenLoopbackUdp()) {
    sockaddr_in local{};
    socklen_t length = sizeof local;
    getsockname(m_listen, reinterpret_cast<sockaddr*>(&local), &length);
    m_port = ntohs(local.sin_port);
    pipe2(m_wake, O_CLOEXEC);
    m_thread = std::thread([this] { Run(); });
}

LossyProxy::~LossyProxy() {
    write(m_wake[1], "x", 1);
    m_thread.join();
    for (const auto& [key, session] : m_sessions) {
        close(session.fd);
    }
    close(m_listen);
    close(m_wake[0]);
    close(m_wake[1]);
}

void LossyProxy::Pass(int fd, const sockaddr_in& to, const std::string& bytes, Held& held) {
    std::uniform_real_distribution<double> chance(0, 1);
    if (chance(m_random) < 0.05) {
        ++m_nDropped;
        return;
    }
    if (held.fd < 0 && chance(m_random) < 0.02) {
        held = {fd, to, bytes};
        return;
    }
    bench::SendPacket(fd, to, bytes);
    if (chance(m_random) < 0.02) {
        bench::SendPacket(fd, to, bytes);
    }
    if (held.fd >= 0) {
        bench::SendPacket(held.fd, held.to, held.bytes);
        held.fd = -1;
    }
}

void LossyProxy::Run() {
    std::vector<char> buffer(65536);
    for (;;) {
        std::vector<pollfd> fds{{m_wake[0], POLLIN, 0}, {m_listen, POLLIN, 0}};
        std::vector<Session*> polled;
        for (auto& [key, session] : m_sessions) {
            fds.push_back({session.fd, POLLIN, 0});
            polled.push_back(&session);
        }
        // A held datagram goes out on its own after a short quiet spell.
        if (poll(fds.data(), fds.size(), 20) == 0) {
            for (Held* held : {&m_toServer, &m_toClient}) {
                if (held->fd >= 0) {
                    bench::SendPacket(held->fd, held->to, held->bytes);
                    held->fd = -1;
                }
            }
            continue;
        }
        if (fds[0].revents != 0) {
            return;
        }
        sockaddr_in from{};
        socklen_t length = sizeof from;
        if (fds[1].revents != 0) {
            const ssize_t n = recvfrom(m_listen, buffer.data(), buffer.size(), 0,
                                       reinterpret_cast<sockaddr*>(&from), &length);
            const std::uint64_t key =
                (std::uint64_t{ntohl(from.sin_addr.s_addr)} << 16) | ntohs(from.sin_port);
            auto it = m_sessions.find(key);
            if (it == m_sessions.end()) {
                it = m_sessions.emplace(key, Session{bench::OpenLoopbackUdp(), 0, from}).first;
            }
            const Session& session = it->second;
            // A request goes to the server's well-known port, also when it is a retry.
            const bool bRequest = n >= 2 && buffer[0] == 0 && (buffer[1] == 1 || buffer[1] == 2);
            const std::uint16_t port =
                session.serverTid != 0 && !bRequest ? session.serverTid : m_serverPort;
            if (n >= 0) {
                Pass(session.fd, *bench::Ipv4Address("127.0.0.1", port),
                     std::string(buffer.data(), n), m_toServer);
            }
        }
        for (std::size_t i = 0; i < polled.size(); ++i) {
            Session& session = *polled[i];
            if (fds[i + 2].revents == 0) {
                continue;
            }
            length = sizeof from;
            const ssize_t n = recvfrom(session.fd, buffer.data(), buffer.size(), 0,
                                       reinterpret_cast<sockaddr*>(&from), &length);
            if (n >= 0) {
                session.serverTid = ntohs(from.sin_port);
                Pass(m_listen, session.client, std::string(buffer.data(), n), m_toClient);
            }
        }
    }
}
