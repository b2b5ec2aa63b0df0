#include "platform/StreamSocket.h"

#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

#include "platform/EventLoop.h"

CStreamSocket::~CStreamSocket() {
    Close();
}

int CStreamSocket::Create() {
    Close();
    m_fd = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    m_nLastError = m_fd < 0 ? errno : 0;
    return m_fd < 0 ? 0 : 1;
}

int CStreamSocket::Connect(const std::string& host, unsigned short port) {
    if (m_fd < 0) {
        m_nLastError = EBADF;
        return 0;
    }
    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    if (getaddrinfo(host.c_str(), nullptr, &hints, &found) != 0 || found == nullptr) {
        // A name that does not resolve leaves no way to the host.
        m_nLastError = EHOSTUNREACH;
        return 0;
    }
    sockaddr_in to = *reinterpret_cast<const sockaddr_in*>(found->ai_addr);
    freeaddrinfo(found);
    to.sin_port = htons(port);
    if (connect(m_fd, reinterpret_cast<const sockaddr*>(&to), sizeof to) != 0 &&
        errno != EINPROGRESS) {
        m_nLastError = errno;
        return 0;
    }
    // Even a connect made at once is told through OnConnect, from the loop.
    m_loop.WatchWritable(m_fd, [this] { Connected(); });
    return 1;
}

void CStreamSocket::Connected() {
    int error = 0;
    socklen_t len = sizeof error;
    if (getsockopt(m_fd, SOL_SOCKET, SO_ERROR, &error, &len) != 0) {
        error = errno;
    }
    if (error == 0) {
        m_loop.WatchReadable(m_fd, [this] { Readable(); });
    }
    OnConnect(error);
}

void CStreamSocket::Readable() {
    char byte;
    const ssize_t n = recv(m_fd, &byte, 1, MSG_PEEK | MSG_DONTWAIT);
    if (n > 0) {
        OnReceive(0);
        return;
    }
    if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
        return;
    }
    // The end of the stream, or a connection broken: nothing more will come.
    const int error = n < 0 ? errno : 0;
    m_loop.Unwatch(m_fd);
    OnClose(error);
}

int CStreamSocket::Send(const void* buffer, std::size_t len) {
    const ssize_t n = send(m_fd, buffer, len, MSG_NOSIGNAL);
    m_nLastError = n < 0 ? errno : 0;
    return static_cast<int>(n);
}

int CStreamSocket::Receive(void* buffer, std::size_t len) {
    const ssize_t n = recv(m_fd, buffer, len, 0);
    m_nLastError = n < 0 ? errno : 0;
    return static_cast<int>(n);
}

void CStreamSocket::Close() {
    if (m_fd >= 0) {
        m_loop.Unwatch(m_fd);
        close(m_fd);
        m_fd = -1;
    }
}
