#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

// A read-only TFTP responder that serves its content from memory, in octet mode: about the
// least work a server can do per block. What the load client moves against it is the ceiling
// of every measurement taken with that client. A name that starts with a number N gets the
// first N bytes of the content, any other name all of it.
namespace bench {

class Responder {
  public:
    Responder(std::string content, std::uint16_t port);
    ~Responder();
    Responder(const Responder&) = delete;
    Responder& operator=(const Responder&) = delete;

    bool Listening() const { return m_listen >= 0; }
    std::uint16_t Port() const;
    // Serves until stop holds (looked at every 10 ms) or the seconds have passed.
    void Run(const std::atomic<bool>& stop, double seconds);

  private:
    struct Session;

    void OnRequest();
    void OnPacket(std::uint32_t slot);
    void SendBlock(Session& session, bool bNext);
    void End(std::uint32_t slot);

    std::string m_content;
    int m_listen = -1;
    int m_epoll = -1;
    std::vector<std::unique_ptr<Session>> m_sessions;  // by slot; empty slots are reused
    std::vector<char> m_buffer;
};

}  // namespace bench
