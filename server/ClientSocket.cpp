#include "server/ClientSocket.h"

#include <arpa/inet.h>
#include <strings.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>

#include "platform/Clock.h"
#include "platform/Operator.h"
#include "policy/Paths.h"
#include "server/ServerApp.h"

namespace {

constexpr std::uint16_t kRrq = 1;
constexpr std::uint16_t kData = 3;
constexpr std::uint16_t kAck = 4;
constexpr std::uint16_t kError = 5;
constexpr std::uint16_t kOack = 6;

std::uint16_t ReadWord(const char* p) {
    return static_cast<std::uint16_t>((static_cast<unsigned char>(p[0]) << 8) |
                                      static_cast<unsigned char>(p[1]));
}

void WriteWord(char* p, std::uint16_t value) {
    p[0] = static_cast<char>(value >> 8);
    p[1] = static_cast<char>(value & 0xFF);
}

// Appends "name\0value\0" of an OACK.
void AppendOption(std::string& packet, const char* name, long long value) {
    packet += name;
    packet += '\0';
    packet += std::to_string(value);
    packet += '\0';
}

}  // namespace

const char* ErrorText(int nCode) {
    static const char* const kTexts[] = {"Inconclusive system error",
                                         "File not found",
                                         "Access violation",
                                         "Disk error",
                                         "Unknown TFTP Operation",
                                         "Unknown transfer ID",
                                         "File already exists",
                                         "Option negotion failure",
                                         "Aborted"};
    return kTexts[std::clamp(nCode, 0, 8)];
}

CClientSocket::CClientSocket(CServerApp& app)
    : CAsyncSocket(app.Loop()), m_pBuffer(kMinBuffer, 0), m_app(app) {}

CClientSocket::~CClientSocket() {
    m_bActive = 0;
    m_pFile.reset();
    Close();
}

void CClientSocket::SendPacket(int nLength) {
    SendTo(m_pBuffer.data(), static_cast<std::size_t>(nLength), m_PeerAddr);
}

void CClientSocket::ResizeBuffer(int nSize) {
    m_pBuffer.resize(static_cast<std::size_t>(std::max(nSize, kMinBuffer)));
}

void CClientSocket::StartRequest(int nLength) {
    // The request is parsed from its own copy, which no resize of the buffer can disturb; the
    // zeros behind it let the walk pass the datagram's end by the two bytes it may.
    std::array<char, kRequestSize + 4> request{};
    std::memcpy(request.data(), m_pBuffer.data(),
                static_cast<std::size_t>(std::min(nLength, kRequestSize)));
    m_nOpcode = ReadWord(request.data());
    m_nSent = 0;

    if (!Create(0, m_LocalIp)) {
        m_bActive = 0;
        return;
    }
    if (!AsyncSelect()) {
        m_app.Op().ShowMessage("Error preparing local client function", BoxIcon::Exclamation);
    }
    m_LastPacket = m_app.Time().Seconds();

    const char* name = request.data() + 2;
    FormPath(NormaliseClientName(std::string(name, strnlen(name, kRequestSize - 2))));

    // Positions count from the first byte of the file name and are bounded by the datagram's
    // length, as the request's own framing is.
    int pos = 0;
    while (pos < nLength && name[pos] != '\0') {
        ++pos;
    }
    if (pos >= nLength || pos + 1 >= nLength) {
        // No zero byte within the bounds, or nothing behind the name.
        SendError(4, true, false);
        return;
    }
    ++pos;
    const char* mode = name + pos;
    if (strcasecmp(mode, "netascii") == 0) {
        m_bNetascii = 1;
        pos += 9;
    } else if (strcasecmp(mode, "octet") == 0) {
        m_bNetascii = 0;
        pos += 6;
    } else {
        SendError(4, true, false);
        return;
    }

    bool bTsize = false;
    bool bTimeout = false;
    bool bBlksize = false;
    while (pos < nLength && name[pos] != '\0') {
        const int nameStart = pos;
        while (pos < nLength && name[pos] != '\0') {
            ++pos;
        }
        const std::string option(name + nameStart, static_cast<std::size_t>(pos - nameStart));
        ++pos;
        // Wide and saturating, so that no value a client sends can overflow what it sets.
        std::uint64_t value = 0;
        while (pos < nLength && name[pos] >= '0' && name[pos] <= '9') {
            value = std::min<std::uint64_t>(
                value * 10 + static_cast<std::uint64_t>(name[pos] - '0'), kMaxOptionValue);
            ++pos;
        }
        if (strcasecmp(option.c_str(), "tsize") == 0) {
            bTsize = m_app.bAllowTsize != 0;
        } else if (strcasecmp(option.c_str(), "timeout") == 0) {
            // A time-out beyond what the server counts in is not taken, and so not echoed.
            if (value <= static_cast<std::uint64_t>(INT32_MAX)) {
                m_nTimeoutOption = static_cast<std::int32_t>(value);
                bTimeout = m_app.bAllowTimeout != 0;
            }
        } else if (strcasecmp(option.c_str(), "blksize") == 0) {
            // A larger block than a datagram holds is answered with the largest (RFC 2348).
            const auto nValue =
                static_cast<std::int32_t>(std::min<std::uint64_t>(value, kMaxBlockSize));
            if (nValue != m_nBlockSize) {
                m_nBlockSize = nValue;
                if (!SetBuffers(m_nOpcode == kRrq)) {
                    return;
                }
            }
            bBlksize = true;
        }
        ++pos;
    }

    if (m_nOpcode != kRrq && IsDirectoryName(m_FullPath)) {
        // A directory is never a file to receive, nor one to rename out of the way.
        SendError(2, true, false);
        return;
    }
    if (m_nOpcode != kRrq && !HandleDuplicate()) {
        return;
    }

    using Mode = TransferFile::Mode;
    const Mode openMode = m_nOpcode == kRrq ? (m_bNetascii ? Mode::ReadText : Mode::ReadBinary)
                                            : (m_bNetascii ? Mode::WriteText : Mode::WriteBinary);
    m_pFile = TransferFile::Open(m_FullPath, openMode);
    if (!m_pFile) {
        SendError(m_nOpcode, true, false);
        return;
    }
    SendFirstReply(bTsize, bTimeout, bBlksize);
}

void CClientSocket::FormPath(const std::string& requestName) {
    const bool bRead = m_nOpcode == kRrq;
    const std::string& base = bRead ? m_app.OutPath : m_app.InPath;
    LocalPath local;
    if (bRead && m_app.bForce == 1) {
        local = FormLocalPath(base, m_app.ForceFile, true);
    } else {
        const bool bKeep = bRead ? m_app.bOutboundPaths != 0 : m_app.bInboundPaths != 0;
        local = FormLocalPath(base, requestName, bKeep);
    }
    m_FullPath = local.path;
    m_app.m_Status.text = (local.bChanged ? "* " : "") + PrintableName(m_FullPath);
    m_app.NotifyView(STATUS_FILE, m_nClientId);
}

bool CClientSocket::HandleDuplicate() {
    if (m_app.bInboundPaths && m_app.bCreatePaths && !CreatePaths(m_FullPath)) {
        SendError(2, true, false);
        return false;
    }
    if (m_app.bRejectDuplicate) {
        if (PathExists(m_FullPath)) {
            SendError(6, true, false);
            return false;
        }
        return true;
    }
    if (m_app.bRenameDuplicate && PathExists(m_FullPath)) {
        std::string candidate;
        for (int n = 1;; ++n) {
            candidate = DuplicateCandidate(m_FullPath, n);
            if (!PathExists(candidate)) {
                break;
            }
        }
        if (m_app.bRenameExisting) {
            if (std::rename(m_FullPath.c_str(), candidate.c_str()) != 0) {
                SendError(2, true, false);
                return false;
            }
        } else {
            m_FullPath = candidate;
        }
    }
    return true;
}

void CClientSocket::SendFirstReply(bool bTsize, bool bTimeout, bool bBlksize) {
    std::string oack(2, '\0');
    WriteWord(oack.data(), kOack);
    if (m_nOpcode != kRrq) {
        m_nBlock = 0;
        m_nTotal = 0;
        if (!bTimeout && !bBlksize) {
            SendAck();
            return;
        }
    } else {
        m_nTotal = m_pFile->Length();
        m_nSent = 0;
        if (!bTsize && !bTimeout && !bBlksize) {
            m_nBlock = 1;
            SendNextBlock();
            return;
        }
        m_nBlock = 0;
        if (bTsize) {
            AppendOption(oack, "tsize", m_nTotal);
        }
    }
    if (bTimeout) {
        AppendOption(oack, "timeout", m_nTimeoutOption);
    }
    if (bBlksize) {
        AppendOption(oack, "blksize", m_nBlockSize);
    }
    std::memcpy(m_pBuffer.data(), oack.data(), oack.size());
    SendPacket(static_cast<int>(oack.size()));
    if (m_nOpcode == kRrq) {
        m_PendingOack = std::move(oack);
    }
}

int CClientSocket::SetBuffers(bool bSending) {
    const int nSize = m_nBlockSize + 20;
    if (m_nBlockSize < kMinBlockSize || m_nBlockSize > kMaxBlockSize) {
        // The block in force must fit the buffer that the receive offers.
        m_nBlockSize = static_cast<std::int32_t>(m_pBuffer.size()) - 20;
        SendError(7, true, false);
        return 0;
    }
    ResizeBuffer(nSize);
    const int option = bSending ? SO_SNDBUF : SO_RCVBUF;
    int readBack = 0;
    if (!SetBufferOption(option, nSize) || !GetBufferOption(option, readBack)) {
        SendError(7, true, false);
        return 0;
    }
    // Linux doubles what it is given, keeping half for its own bookkeeping (socket(7)).
    const int usable = readBack / 2;
    if (usable < nSize) {
        m_nBlockSize = usable - 20;
        ResizeBuffer(usable);
        if (m_nBlockSize < kMinBlockSize) {
            SendError(7, true, false);
            return 0;
        }
    }
    return 1;
}

void CClientSocket::SendError(int nCode, bool bSend, bool bFromRemote) {
    if (nCode >= 9) {
        nCode = 8;
    }
    m_pFile.reset();
    m_Result = ErrorText(nCode);
    if (bSend) {
        char* p = m_pBuffer.data();
        WriteWord(p, kError);
        // Refused options go out under the code that RFC 2347 gives them.
        WriteWord(p + 2, static_cast<std::uint16_t>(nCode == 7 ? 8 : nCode));
        std::memcpy(p + 4, m_Result.c_str(), m_Result.size() + 1);
        SendPacket(static_cast<int>(4 + m_Result.size() + 1));
    }
    m_bActive = 0;
    m_app.m_Status.text = m_Result;
    if (bFromRemote) {
        m_app.m_Status.text += " [From Remote]";
    }
    m_app.NotifyView(STATUS_ERROR, m_nClientId);
}

void CClientSocket::SendAck() {
    WriteWord(m_pBuffer.data(), kAck);
    WriteWord(m_pBuffer.data() + 2, m_nBlock);
    SendPacket(4);
}

void CClientSocket::OnReceive(int nErrorCode) {
    if (nErrorCode != 0) {
        return;
    }
    m_LastPacket = m_app.Time().Seconds();
    const auto nMax =
        std::min<std::size_t>(static_cast<std::size_t>(m_nBlockSize) + 4, m_pBuffer.size());
    m_nLastRecv = ReceiveFrom(m_pBuffer.data(), nMax, m_PeerAddr);
    if (m_nLastRecv < 4) {
        return;
    }
    if (m_nOpcode == kRrq) {
        HandleAck();
    } else {
        HandleData();
    }
}

void CClientSocket::HandleAck() {
    const std::uint16_t nOpcode = ReadWord(m_pBuffer.data());
    const std::uint16_t nNumber = ReadWord(m_pBuffer.data() + 2);
    if (nOpcode == kError) {
        SendError(nNumber, false, true);
        return;
    }
    if (nOpcode != kAck || !m_pFile || !m_bActive) {
        // Not an ACK, or the read is over: the client has every block, or it ended in an error.
        return;
    }
    if (static_cast<int>(nNumber) == static_cast<int>(m_nBlock) - 1) {
        ++m_nDupAcks;
        if (m_app.bSkipRetry && m_nDupAcks <= 1) {
            return;
        }
        m_nDupAcks = 0;
        Retransmit();
        return;
    }
    if (nNumber != m_nBlock) {
        return;
    }
    m_PendingOack.clear();
    ++m_nBlock;
    m_nRetries = 0;
    m_nDupAcks = 0;
    if (m_bLastBlock) {
        m_bActive = 0;
    } else {
        SendNextBlock();
    }
    m_app.m_Status.nTotal = m_nTotal;
    m_app.m_Status.nPosition = m_nSent;
    m_app.NotifyView(STATUS_PROGRESS, m_nClientId);
}

void CClientSocket::HandleData() {
    const std::uint16_t nOpcode = ReadWord(m_pBuffer.data());
    const std::uint16_t nNumber = ReadWord(m_pBuffer.data() + 2);
    if (nOpcode == kError) {
        SendError(nNumber, false, true);
        return;
    }
    if (nOpcode != kData) {
        return;
    }
    if (nNumber == m_nBlock && m_Result.empty()) {
        // A repeat of the block just stored: its ACK was lost, so it goes again (RFC 1350),
        // also after the last block; deliberately unlike acknowledging each block only once.
        SendAck();
        return;
    }
    if (nNumber != static_cast<std::uint16_t>(m_nBlock + 1) || !m_pFile) {
        return;
    }
    const int nCount = m_nLastRecv - 4;
    if (m_pFile->Write(m_pBuffer.data() + 4, nCount) < nCount) {
        SendError(3, true, false);
        return;
    }
    m_nTotal += nCount;
    if (nNumber < 2 || m_nRetries != 0) {
        m_app.m_Status.text = "Receiving";
        m_app.NotifyView(STATUS_PROGRESS, m_nClientId);
    }
    ++m_nBlock;
    m_nRetries = 0;
    if (m_nLastRecv < m_nBlockSize + 4) {
        // Stored before the last ACK: a client told that the file arrived must not be wrong.
        const bool bStored = m_pFile->Close();
        m_pFile.reset();
        if (!bStored) {
            SendError(3, true, false);
            return;
        }
        m_bActive = 0;
    }
    SendAck();
}

void CClientSocket::SendNextBlock() {
    // A netascii stream grows on the wire, so it is asked for a full block each time and ends
    // at its first short one.
    const std::int64_t nCount =
        m_bNetascii ? m_nBlockSize : std::min<std::int64_t>(m_nTotal - m_nSent, m_nBlockSize);
    if (nCount < 0) {
        SendError(3, true, false);
        return;
    }
    m_nLastRead = nCount != 0 ? m_pFile->Read(m_pBuffer.data() + 4, static_cast<int>(nCount)) : 0;
    WriteWord(m_pBuffer.data(), kData);
    WriteWord(m_pBuffer.data() + 2, m_nBlock);
    SendPacket(4 + m_nLastRead);
    if (m_nLastRead < m_nBlockSize) {
        m_bLastBlock = 1;
        if (m_bNetascii) {
            m_nTotal = m_nSent + m_nLastRead;
        }
    }
    m_nSent += m_nLastRead;
}

int CClientSocket::Retransmit() {
    if (m_nOpcode == kRrq) {
        if (!m_PendingOack.empty()) {
            // Waiting for the ACK of an OACK: repeat it, so ACK 0 still starts with DATA 1.
            std::memcpy(m_pBuffer.data(), m_PendingOack.data(), m_PendingOack.size());
            SendPacket(static_cast<int>(m_PendingOack.size()));
        } else {
            if (!m_pFile || !m_pFile->RewindLastRead()) {
                return 0;
            }
            m_nSent -= m_nLastRead;
            SendNextBlock();
        }
        m_app.m_Status.text = "Retrying";
    } else {
        m_app.m_Status.text = "Waiting ...";
    }
    m_app.NotifyView(STATUS_RETRY, m_nClientId);
    return 1;
}
