#pragma once

#include <cstdint>
#include <string>
#include <thread>
#include <vector>

// An HTTP server on 127.0.0.1: each connection in turn gets the next canned response once its
// request has come (up to the blank line), then is closed; 5 seconds of silence end the wait.
class LoopbackHttpServer {
  public:
    explicit LoopbackHttpServer(std::vector<std::string> responses);
    ~LoopbackHttpServer();

    // "127.0.0.1:port", as QUAYLON_UPDATE_SERVER takes it.
    std::string Address() const { return "127.0.0.1:" + std::to_string(m_port); }
    // The requests that came, once every response has gone out.
    const std::vector<std::string>& Requests();

  private:
    int m_listen;
    std::uint16_t m_port = 0;
    std::vector<std::string> m_requests;
    std::thread m_thread;
};

std::string HttpResponse(const std::string& body);
