#pragma once

#include <cstddef>
#include <string>

class EventLoop;

// Non-blocking IPv4 TCP client socket. Its notifications arrive on the loop's thread: OnConnect
// once a connection is made or has failed, OnReceive while data waits, and OnClose once the
// peer has ended the connection and everything it sent has been read.
class CStreamSocket {
  public:
    explicit CStreamSocket(EventLoop& loop) : m_loop(loop) {}
    virtual ~CStreamSocket();
    CStreamSocket(const CStreamSocket&) = delete;
    CStreamSocket& operator=(const CStreamSocket&) = delete;

    // Returns 1 or 0.
    int Create();
    // Resolves host (blocking) and starts connecting to it. Returns 1 when the connection is
    // made or under way, else 0 with the reason in LastError().
    int Connect(const std::string& host, unsigned short port);
    // Bytes sent, or -1 with LastError().
    int Send(const void* buffer, std::size_t len);
    // Bytes received, 0 at the end of the stream, or -1 with LastError(), which is EWOULDBLOCK
    // when nothing waits yet.
    int Receive(void* buffer, std::size_t len);
    void Close();

    // The errno of the last call that failed; 0 after a receive that met the end.
    int LastError() const { return m_nLastError; }

    virtual void OnConnect(int nErrorCode) = 0;
    virtual void OnReceive(int nErrorCode) = 0;
    virtual void OnClose(int nErrorCode) = 0;

  private:
    void Connected();
    void Readable();

    EventLoop& m_loop;
    int m_fd = -1;
    int m_nLastError = 0;
};
