#include "platform/AsyncSocket.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>

#include "platform/EventLoop.h"

CAsyncSocket::~CAsyncSocket() {
    Close();
}

int CAsyncSocket::Create(unsigned short port, const std::string& address) {
    Close();
    sockaddr_in local{};
    local.sin_family = AF_INET;
    local.sin_port = htons(port);
    if (inet_pton(AF_INET, address.c_str(), &local.sin_addr) != 1) {
        return 0;
    }
    m_fd = socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (m_fd < 0) {
        return 0;
    }
    if (bind(m_fd, reinterpret_cast<sockaddr*>(&local), sizeof local) != 0) {
        Close();
        return 0;
    }
    return 1;
}

int CAsyncSocket::AsyncSelect() {
    if (m_fd < 0) {
        return 0;
    }
    m_loop.WatchReadable(m_fd, [this] { OnReceive(0); });
    return 1;
}

void CAsyncSocket::Close() {
    if (m_fd >= 0) {
        m_loop.Unwatch(m_fd);
        close(m_fd);
        m_fd = -1;
    }
}

int CAsyncSocket::ReceiveFrom(void* buffer, std::size_t len, sockaddr_in& from) {
    iovec iov{buffer, len};
    msghdr msg{};
    msg.msg_name = &from;
    msg.msg_namelen = sizeof from;
    msg.msg_iov = &iov;
    msg.msg_iovlen = 1;
    const ssize_t n = recvmsg(m_fd, &msg, 0);
    if (n < 0 || (msg.msg_flags & MSG_TRUNC) != 0) {
        return -1;
    }
    return static_cast<int>(n);
}

int CAsyncSocket::SendTo(const void* buffer, std::size_t len, const sockaddr_in& to) {
    return static_cast<int>(
        sendto(m_fd, buffer, len, 0, reinterpret_cast<const sockaddr*>(&to), sizeof to));
}

int CAsyncSocket::SetBufferOption(int option, int value) {
    return setsockopt(m_fd, SOL_SOCKET, option, &value, sizeof value) == 0 ? 1 : 0;
}

int CAsyncSocket::GetBufferOption(int option, int& value) const {
    socklen_t len = sizeof value;
    return getsockopt(m_fd, SOL_SOCKET, option, &value, &len) == 0 ? 1 : 0;
}

unsigned short CAsyncSocket::LocalPort() const {
    sockaddr_in local{};
    socklen_t len = sizeof local;
    if (m_fd < 0 || getsockname(m_fd, reinterpret_cast<sockaddr*>(&local), &len) != 0) {
        return 0;
    }
    return ntohs(local.sin_port);
}

std::string FormatAddress(const sockaddr_in& addr) {
    const auto* b = reinterpret_cast<const unsigned char*>(&addr.sin_addr.s_addr);
    char text[16];
    std::snprintf(text, sizeof text, "%d.%d.%d.%d", b[0], b[1], b[2], b[3]);
    return text;
}
