#include "support/LoopbackHttpServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

LoopbackHttpServer::LoopbackHttpServer(std::vector<std::string> responses)
    : m_listen(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof addr;
    // Bounds accept and, handed down to each connection, recv.
    const timeval limit{5, 0};
    setsockopt(m_listen, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    bind(m_listen, reinterpret_cast<sockaddr*>(&addr), len);
    listen(m_listen, 4);
    getsockname(m_listen, reinterpret_cast<sockaddr*>(&addr), &len);
    m_port = ntohs(addr.sin_port);
    m_thread = std::thread([this, responses = std::move(responses)] {
        for (const std::string& response : responses) {
            const int fd = accept4(m_listen, nullptr, nullptr, SOCK_CLOEXEC);
            if (fd < 0) {
                return;
            }
            std::string& request = m_requests.emplace_back();
            char buffer[1024];
            for (ssize_t n = 1; n > 0 && request.find("\r\n\r\n") == std::string::npos;) {
                n = recv(fd, buffer, sizeof buffer, 0);
                request.append(buffer, n > 0 ? static_cast<std::size_t>(n) : 0);
            }
            send(fd, response.data(), response.size(), MSG_NOSIGNAL);  // blocks until all is out
            close(fd);
        }
    });
}

LoopbackHttpServer::~LoopbackHttpServer() {
    // Wakes a thread still waiting for a connection.
    shutdown(m_listen, SHUT_RDWR);
    if (m_thread.joinable()) {
        m_thread.join();
    }
    close(m_listen);
}

const std::vector<std::string>& LoopbackHttpServer::Requests() {
    m_thread.join();
    return m_requests;
}

std::string HttpResponse(const std::string& body) {
    return "HTTP/1.1 200 OK\r\nContent-Type: text/html\r\nContent-Length: " +
           std::to_string(body.size()) + "\r\n\r\n" + body;
}
