#pragma once

#include <netinet/in.h>

#include <list>
#include <memory>
#include <string>
#include <vector>

#include "platform/AsyncSocket.h"

class CManager;
class CServerApp;

// The server's one well-known UDP socket: it picks the address, runs every first packet through
// its gates, and owns the client table.
class CListenSocket : public CAsyncSocket {
  public:
    explicit CListenSocket(CServerApp& app);
    ~CListenSocket() override;

    int StartListening();
    void OnReceive(int nErrorCode) override;
    int NewClient(int nLength);
    void Housekeeping();

    // Clients at once for a position of the "Maximum simultaneous Clients" slider; 0 for none.
    static int ClientLimit(std::uint32_t nMaxClientsPos);

    sockaddr_in m_ClientAddr{};
    std::string m_LocalIp;
    char m_Packet[512] = {};
    std::list<std::unique_ptr<CManager>> m_ClientList;
    std::int32_t m_nAddressCount = 0;
    std::string m_HostName;

  private:
    void Refuse(const char* packet, std::size_t length);
    // The index of the address to serve on, or -1 when the operator gave up.
    int ChooseAddress(const std::vector<std::string>& addresses);

    CServerApp& m_app;
};
