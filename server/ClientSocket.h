#pragma once

#include <netinet/in.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/AsyncSocket.h"
#include "server/TransferFile.h"

class CServerApp;

// The socket of one admitted client and the state of its transfer. Everything here runs on the
// main thread.
class CClientSocket : public CAsyncSocket {
  public:
    explicit CClientSocket(CServerApp& app);
    ~CClientSocket() override;

    // Turns the request at the start of m_pBuffer into a running transfer.
    void StartRequest(int nLength);
    void SendPacket(int nLength);
    void SendError(int nCode, bool bSend, bool bFromRemote);
    int SetBuffers(bool bSending);

    void OnReceive(int nErrorCode) override;
    void HandleAck();
    void HandleData();
    void SendNextBlock();
    int Retransmit();

    // Largest request the listening socket hands over, and the smallest buffer a client has:
    // the request and any reply built over it always fit.
    static constexpr int kRequestSize = 512;
    static constexpr int kMinBuffer = kRequestSize + 20;
    // The block sizes this server agrees to: RFC 2348's range, which keeps a DATA packet inside
    // the largest UDP datagram.
    static constexpr int kMinBlockSize = 8;
    static constexpr int kMaxBlockSize = 65464;
    // Option values saturate here: above every limit the options have, far below overflow.
    static constexpr std::uint64_t kMaxOptionValue = 1ull << 40;

    std::int32_t m_nTimeoutOption = 0;
    std::int32_t m_nBlockSize = 512;
    std::string m_Result;
    sockaddr_in m_PeerAddr{};
    std::int32_t m_bActive = 1;
    std::int32_t m_nClientId = 0;
    std::string m_LocalIp;
    std::string m_FullPath;
    std::int32_t m_nOpcode = 0;
    std::uint16_t m_nBlock = 0;
    std::int32_t m_nLastRecv = 0;
    std::unique_ptr<TransferFile> m_pFile;
    std::int32_t m_bNetascii = 0;
    std::int32_t m_bLastBlock = 0;
    // 64 bits, so that files beyond 2 GiB are counted right.
    std::int64_t m_nTotal = 0;
    std::int64_t m_nSent = 0;
    std::vector<char> m_pBuffer;
    std::int64_t m_LastPacket = 0;
    std::int32_t m_nLastRead = 0;
    std::int32_t m_nDupAcks = 0;
    std::int32_t m_nRetries = 0;

  private:
    // Bytes of the OACK of a read while its ACK 0 is awaited, so that a retry can repeat it
    // without using up file data; empty otherwise.
    std::string m_PendingOack;

    void FormPath(const std::string& requestName);
    bool HandleDuplicate();
    void SendFirstReply(bool bTsize, bool bTimeout, bool bBlksize);
    void SendAck();
    void ResizeBuffer(int nSize);

    CServerApp& m_app;
};

// Texts of the server's error codes 0 to 8.
const char* ErrorText(int nCode);
