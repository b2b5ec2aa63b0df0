#include "server/ListenSocket.h"

#include <arpa/inet.h>

#include <cstring>

#include "platform/HostAddresses.h"
#include "platform/Operator.h"
#include "policy/AddressRules.h"
#include "server/ClientSocket.h"
#include "server/Manager.h"
#include "server/ServerApp.h"

namespace {

// Both refusals are stored whole; the first carries one zero byte more than its text needs.
constexpr char kRefusal[] = "\x00\x05\x00\x00Service not available\x00";
constexpr std::size_t kRefusalLength = 27;
constexpr char kTooMany[] = "\x00\x05\x00\x00Too Many Clients";
constexpr std::size_t kTooManyLength = 21;
static_assert(sizeof kRefusal == kRefusalLength && sizeof kTooMany == kTooManyLength);

// Leading decimal digits, stopping at the first other character.
unsigned long ParseLeadingDigits(const std::string& text) {
    unsigned long value = 0;
    for (char c : text) {
        if (c < '0' || c > '9') {
            break;
        }
        value = value * 10 + static_cast<unsigned long>(c - '0');
    }
    return value;
}

}  // namespace

CListenSocket::CListenSocket(CServerApp& app) : CAsyncSocket(app.Loop()), m_app(app) {}

CListenSocket::~CListenSocket() {
    for (auto& worker : m_ClientList) {
        if (worker->IsRunning()) {
            worker->End();
        }
    }
    Close();
}

int CListenSocket::ClientLimit(std::uint32_t nMaxClientsPos) {
    switch (nMaxClientsPos) {
        case 1:
            return 5;
        case 2:
            return 10;
        case 3:
            return 15;
        case 4:
            return 30;
        case 5:
            return 0;
        default:
            return 1;
    }
}

int CListenSocket::ChooseAddress(const std::vector<std::string>& addresses) {
    const auto count = static_cast<std::uint32_t>(addresses.size());
    if (count == 1) {
        m_app.nDefAddress = 0;
        return 0;
    }
    if (m_app.m_nArgAddress != -1 && static_cast<std::uint32_t>(m_app.m_nArgAddress) < count) {
        return m_app.m_nArgAddress;
    }
    if (m_app.nDefAddress >= 1 && m_app.nDefAddress <= count && m_app.bShowMultihomed == 0) {
        return static_cast<int>(m_app.nDefAddress) - 1;
    }
    const Operator::MultihomedChoice choice =
        m_app.Op().ChooseAddress(addresses, m_app.bShowMultihomed != 0);
    if (!choice.bOk) {
        return 0;
    }
    const int index =
        choice.nSelected >= 0 && choice.nSelected < static_cast<int>(count) ? choice.nSelected : 0;
    if (choice.bDontShowAgain) {
        m_app.bShowMultihomed = 0;
        m_app.nDefAddress = static_cast<std::uint32_t>(index) + 1;
    } else {
        m_app.bShowMultihomed = 1;
    }
    return index;
}

int CListenSocket::StartListening() {
    unsigned long port = ParseLeadingDigits(m_app.Port);
    if (port == 0) {
        port = 69;
    }
    const HostName host = LocalHostName();
    if (!host.bOk) {
        m_app.Op().ShowMessage(
            std::string("Unable to resolve local host name\n") +
                (host.bNetworkDown ? "Network subsystem failure"
                                   : "Unspecified TCP/IP stack error\n(Possibly no adaptors "
                                     "installed)"),
            BoxIcon::Exclamation);
        return 0;
    }
    m_HostName = host.name;
    const std::vector<std::string> addresses = LocalAddresses();
    m_nAddressCount = static_cast<std::int32_t>(addresses.size());
    if (!m_app.m_BindAddress.empty()) {
        m_LocalIp = m_app.m_BindAddress;
    } else {
        m_LocalIp = addresses[static_cast<std::size_t>(ChooseAddress(addresses))];
    }

    // The socket takes the low 16 bits of the port; the title shows the whole number.
    if (!Create(static_cast<unsigned short>(port & 0xFFFF), m_LocalIp)) {
        m_app.Op().ShowMessage("Unable to Create listening port", BoxIcon::Exclamation);
        return 0;
    }
    m_app.m_ServerTitle = m_LocalIp + "." + std::to_string(port);
    if (!AsyncSelect()) {
        m_app.Op().ShowMessage("Unable to Select local port mode", BoxIcon::Exclamation);
        return 0;
    }
    return 1;
}

void CListenSocket::Refuse(const char* packet, std::size_t length) {
    std::memcpy(m_Packet, packet, length);
    SendTo(m_Packet, length, m_ClientAddr);
}

void CListenSocket::OnReceive(int nErrorCode) {
    if (nErrorCode != 0) {
        return;
    }
    std::memset(m_Packet, 0, sizeof m_Packet);
    const int n = ReceiveFrom(m_Packet, sizeof m_Packet, m_ClientAddr);
    if (m_app.m_bServing != 1) {
        Refuse(kRefusal, kRefusalLength);
        return;
    }
    const std::string address = FormatAddress(m_ClientAddr);
    if (m_app.bDeny == 1 && m_app.IsInDenyList(address.c_str())) {
        Refuse(kRefusal, kRefusalLength);
        return;
    }
    if (m_app.bAllow == 1 && !m_app.IsInAllowList(address.c_str())) {
        Refuse(kRefusal, kRefusalLength);
        return;
    }
    if (n < 4) {
        return;
    }
    const int opcode =
        (static_cast<unsigned char>(m_Packet[0]) << 8) | static_cast<unsigned char>(m_Packet[1]);
    if (opcode == 1) {
        if (m_app.bNoOutbound) {
            Refuse(kRefusal, kRefusalLength);
            return;
        }
    } else if (opcode == 2) {
        if (m_app.bNoIncoming) {
            Refuse(kRefusal, kRefusalLength);
            return;
        }
    } else {
        return;
    }
    if (NewClient(n) == 0) {
        Refuse(kTooMany, kTooManyLength);
    }
}

int CListenSocket::NewClient(int nLength) {
    if (m_app.m_nClientSerial > 1000) {
        m_app.m_nClientSerial = 0;
    }
    std::lock_guard<std::recursive_mutex> lock(m_app.m_ClientLock);
    const int limit = ClientLimit(m_app.nMaxClientsPos);
    if (limit != 0 && static_cast<int>(m_ClientList.size()) >= limit) {
        return 0;
    }
    auto worker = std::make_unique<CManager>();
    const bool bStarted = worker->Start(m_app.m_LaunchThread);

    m_app.m_Status.text = FormatAddress(m_ClientAddr);
    const std::int32_t serial = ++m_app.m_nClientSerial;
    m_app.NotifyView(STATUS_NEW_CLIENT, serial);
    if (!bStarted) {
        // Without a worker this one client is refused; the server and the others go on.
        static constexpr char kNoWorker[] = "\0\5\0\0Inconclusive system error";
        Refuse(kNoWorker, sizeof kNoWorker);
        m_app.NotifyView(STATUS_DONE, serial);
        m_app.m_Status.text = ErrorText(0);
        m_app.NotifyView(STATUS_ERROR, serial);
        return 1;
    }

    worker->CreateSocket(m_app);
    CClientSocket& client = *worker->m_pSocket;
    client.m_PeerAddr = m_ClientAddr;
    std::memcpy(client.m_pBuffer.data(), m_Packet, sizeof m_Packet);
    client.m_LocalIp = m_LocalIp;
    client.m_nClientId = serial;
    client.StartRequest(nLength);

    m_ClientList.push_back(std::move(worker));
    return 1;
}
