#include "support/LoopbackHttpServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>

namespace {

bool Readable(int fd) {
    pollfd p{fd, POLLIN, 0};
    return poll(&p, 1, 5000) == 1;
}

}  // namespace

LoopbackHttpServer::LoopbackHttpServer(std::vector<std::string> responses)
    : m_listen(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof addr;
    bind(m_listen, reinterpret_cast<sockaddr*>(&addr), len);
    listen(m_listen, 4);
    getsockname(m_listen, reinterpret_cast<sockaddr*>(&addr), &len);
    m_port = ntohs(addr.sin_port);
    m_thread = std::thread([this, responses = std::move(responses)] {
        for (const std::string& response : responses) {
            const int fd = Readable(m_listen) ? accept4(m_listen, nullptr, nullptr, 0) : -1;
            if (fd < 0) {
                return;
            }
            std::string request;
            char buffer[1024];
            ssize_t n = 1;
            while (request.find("\r\n\r\n") == std::string::npos && n > 0 && Readable(fd)) {
                n = recv(fd, buffer, sizeof buffer, 0);
                request.append(buffer, static_cast<std::size_t>(std::max<ssize_t>(n, 0)));
            }
            {
                std::lock_guard<std::mutex> lock(m_mutex);
                m_requests.push_back(request);
            }
            send(fd, response.data(), response.size(), MSG_NOSIGNAL);  // blocks until all is out
            close(fd);
        }
    });
}

LoopbackHttpServer::~LoopbackHttpServer() {
    // Wakes a thread still waiting for a connection.
    shutdown(m_listen, SHUT_RDWR);
    m_thread.join();
    close(m_listen);
}

std::vector<std::string> LoopbackHttpServer::Requests() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_requests;
}

std::string HttpResponse(const std::string& body, long long contentLength) {
    const std::string length =
        contentLength < 0 ? "" : "Content-Length: " + std::to_string(contentLength) + "\r\n";
    return "HTTP/1.1 200 OK\r\nContent-Type: text/html\r\n" + length + "\r\n" + body;
}
