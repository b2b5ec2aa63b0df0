#pragma once

#include <netinet/in.h>

#include <atomic>
#include <cstdint>
#include <random>
#include <string>
#include <thread>

// A relay on 127.0.0.1 that drops 5%, duplicates 2% and holds back 2% of the datagrams each way,
// seeded; its one port stands for the server's. A datagram from a new client ends the last one's.
class LossyProxy {
  public:
    explicit LossyProxy(std::uint16_t serverPort);
    ~LossyProxy();
    LossyProxy(const LossyProxy&) = delete;
    LossyProxy& operator=(const LossyProxy&) = delete;

    std::uint16_t Port() const { return m_port; }
    int Dropped() const { return m_nDropped; }

  private:
    struct Held {
        int fd = -1;
        sockaddr_in to{};
        std::string bytes;
    };

    void Run();
    // Sends with the faults of one direction: held is that direction's datagram held back.
    void Pass(int fd, const sockaddr_in& to, const std::string& bytes, Held& held);

    std::uint16_t m_serverPort;
    std::mt19937 m_random{1350};
    int m_listen;
    std::uint16_t m_port;
    int m_session = -1;  // faces the server for the client of the session
    sockaddr_in m_client{};
    std::uint16_t m_serverTid = 0;  // the port the server answers from; 0 until it has
    Held m_toServer, m_toClient;
    std::atomic<int> m_nDropped{0};
    std::atomic<bool> m_bStop{false};
    std::thread m_thread;
};
