#pragma once

#include <netinet/in.h>

#include <atomic>
#include <cstdint>
#include <map>
#include <random>
#include <thread>

// A UDP relay on 127.0.0.1 between TFTP clients and a server that drops 5%, duplicates 2% and
// reorders 2% (holds back behind the next) of the datagrams each way, from a seeded generator.
// Clients see the relay's one port as the server's, whatever port the server answers from.
class LossyProxy {
  public:
    explicit LossyProxy(std::uint16_t serverPort);
    ~LossyProxy();
    LossyProxy(const LossyProxy&) = delete;
    LossyProxy& operator=(const LossyProxy&) = delete;

    std::uint16_t Port() const { return m_port; }
    // Datagrams dropped so far.
    int Dropped() const { return m_nDropped; }

  private:
    struct Session {
        int fd;                   // faces the server
        std::uint16_t serverTid;  // the port the server answers from; 0 until it has
        sockaddr_in client;
    };
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
    int m_listen = -1;
    int m_wake[2] = {-1, -1};
    std::uint16_t m_port = 0;
    std::map<std::uint64_t, Session> m_sessions;  // by client address and port
    Held m_toServer, m_toClient;
    std::atomic<int> m_nDropped{0};
    std::thread m_thread;
};
