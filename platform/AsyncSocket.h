#pragma once

#include <netinet/in.h>

#include <cstddef>
#include <string>

class EventLoop;

// Non-blocking IPv4 UDP socket whose read notifications arrive as OnReceive on the loop's thread.
class CAsyncSocket {
  public:
    explicit CAsyncSocket(EventLoop& loop) : m_loop(loop) {}
    virtual ~CAsyncSocket();
    CAsyncSocket(const CAsyncSocket&) = delete;
    CAsyncSocket& operator=(const CAsyncSocket&) = delete;

    // Binds a UDP socket to address:port (port 0 for a free one). Returns 1 or 0.
    int Create(unsigned short port, const std::string& address);
    // Requests read notification. Returns 1 or 0.
    int AsyncSelect();
    void Close();

    // Receives one datagram of at most len bytes. A datagram longer than len fails like any
    // other failed receive: the result is -1.
    int ReceiveFrom(void* buffer, std::size_t len, sockaddr_in& from);
    int SendTo(const void* buffer, std::size_t len, const sockaddr_in& to);

    int SetBufferOption(int option, int value);
    int GetBufferOption(int option, int& value) const;

    unsigned short LocalPort() const;
    int Handle() const { return m_fd; }

    virtual void OnReceive(int nErrorCode) = 0;

  protected:
    EventLoop& m_loop;

  private:
    int m_fd = -1;
};

// "%d.%d.%d.%d", first octet first.
std::string FormatAddress(const sockaddr_in& addr);
