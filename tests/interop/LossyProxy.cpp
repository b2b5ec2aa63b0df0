#include "interop/LossyProxy.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "support/TftpPeer.h"

LossyProxy::LossyProxy(std::uint16_t serverPort)
    : m_serverPort(serverPort),
      m_listen(bench::OpenLoopbackUdp()),
      m_port(ntohs(BoundAddress(m_listen).sin_port)),
      m_thread([this] { Run(); }) {}

LossyProxy::~LossyProxy() {
    m_bStop = true;
    m_thread.join();
    close(m_session);
    close(m_listen);
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
    // Every pass ends within the poll's 20 ms, so the stop is seen.
    while (!m_bStop) {
        pollfd fds[2] = {{m_listen, POLLIN, 0}, {m_session, POLLIN, 0}};
        // A held datagram goes out on its own after a short quiet spell.
        if (poll(fds, 2, 20) == 0) {
            for (Held* held : {&m_toServer, &m_toClient}) {
                if (held->fd >= 0) {
                    bench::SendPacket(held->fd, held->to, held->bytes);
                    held->fd = -1;
                }
            }
            continue;
        }
        sockaddr_in from{};
        socklen_t length = sizeof from;
        if (fds[0].revents != 0) {
            const ssize_t n = recvfrom(m_listen, buffer.data(), buffer.size(), 0,
                                       reinterpret_cast<sockaddr*>(&from), &length);
            if (from.sin_addr.s_addr != m_client.sin_addr.s_addr ||
                from.sin_port != m_client.sin_port) {
                close(m_session);
                m_session = bench::OpenLoopbackUdp();
                m_client = from;
                m_serverTid = 0;
                m_toServer.fd = m_toClient.fd = -1;
            }
            // A request goes to the server's well-known port, also when it is a retry.
            const bool bRequest = n >= 2 && buffer[0] == 0 && (buffer[1] == 1 || buffer[1] == 2);
            const std::uint16_t port = m_serverTid != 0 && !bRequest ? m_serverTid : m_serverPort;
            if (n >= 0) {
                Pass(m_session, *bench::Ipv4Address("127.0.0.1", port),
                     std::string(buffer.data(), n), m_toServer);
            }
        }
        length = sizeof from;
        if (fds[1].revents != 0) {
            const ssize_t n = recvfrom(m_session, buffer.data(), buffer.size(), 0,
                                       reinterpret_cast<sockaddr*>(&from), &length);
            if (n >= 0) {
                m_serverTid = ntohs(from.sin_port);
                Pass(m_listen, m_client, std::string(buffer.data(), n), m_toClient);
            }
        }
    }
}
