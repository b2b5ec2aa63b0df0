// The first datagram of a client, handed to a new client socket as CListenSocket::NewClient
// hands it: the request is parsed, its options negotiated and its file opened. The one reply
// must be a well-formed first packet, and an upload that goes no further must leave no file.
#include <sys/stat.h>

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <set>

#include "fuzz/FuzzSupport.h"
#include "server/ClientSocket.h"
#include "support/ServerHarness.h"

namespace {

constexpr std::uint16_t kRrq = 1;
constexpr std::uint16_t kWrq = 2;

// The server core, never started: a request needs only its settings, loop and clock.
struct Fixture {
    Fixture() {
        // Kept and created directories and renamed duplicates take names down every path.
        h.app.bOutboundPaths = 1;
        h.app.bInboundPaths = 1;
        h.app.bCreatePaths = 1;
        h.app.bRenameDuplicate = 1;
        WriteFile(h.out / "f", PatternBytes(1000));
        std::filesystem::create_directory(h.out / "d");
        WriteFile(h.out / "d/g.txt", "one\ntwo\r\n");
        mkfifo((h.out / "fifo").c_str(), 0644);
        WriteFile(h.in / "taken", "old");
    }
    ServerHarness h;
    TftpPeer client{nullptr};
};

// name\0value\0 pairs: options this server knows, each once, with a decimal value in range.
void CheckOack(const std::string& reply) {
    std::set<std::string> names;
    for (std::size_t pos = 2; pos < reply.size();) {
        const std::size_t nameEnd = reply.find('\0', pos);
        Require(nameEnd != std::string::npos, "an OACK option name ends with a zero byte");
        const std::size_t valueEnd = reply.find('\0', nameEnd + 1);
        Require(valueEnd != std::string::npos, "an OACK option value ends with a zero byte");
        const std::string name = reply.substr(pos, nameEnd - pos);
        const std::string value = reply.substr(nameEnd + 1, valueEnd - nameEnd - 1);
        Require(!value.empty() && value.size() <= 18 &&
                    value.find_first_not_of("0123456789") == std::string::npos,
                "an OACK value is a decimal number");
        const unsigned long long number = std::stoull(value);
        Require(names.insert(name).second, "an OACK names each option once");
        if (name == "blksize") {
            Require(
                number >= CClientSocket::kMinBlockSize && number <= CClientSocket::kMaxBlockSize,
                "an agreed blksize lies between 8 and 65464");
        } else if (name == "timeout") {
            Require(number <= INT32_MAX, "an agreed timeout fits the server's seconds");
        } else {
            Require(name == "tsize", "an OACK holds only blksize, timeout and tsize");
        }
        pos = valueEnd + 1;
    }
    Require(!names.empty(), "an OACK acknowledges at least one option");
}

void CheckReply(const std::string& reply, std::uint16_t requestOpcode) {
    const std::uint16_t opcode = tftp::Opcode(reply);
    if (opcode == 5) {
        Require(reply.size() >= 5 && reply.find('\0', 4) == reply.size() - 1,
                "an ERROR carries one text ended by a zero byte");
        Require(tftp::Number(reply) <= 8, "an ERROR code is one of TFTP's");
    } else if (opcode == 6) {
        CheckOack(reply);
    } else if (requestOpcode == kRrq) {
        Require(opcode == 3 && tftp::Number(reply) == 1 && reply.size() <= 4 + 512,
                "a read without options starts with DATA 1 of at most 512 bytes");
    } else {
        Require(reply == tftp::Ack(0), "a write without options starts with ACK 0");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static Fixture f;
    // CListenSocket::OnReceive passes on only these: a read or write of 4 to 512 bytes.
    const std::uint16_t opcode = size < 2 ? 0 : static_cast<std::uint16_t>(data[0] << 8 | data[1]);
    if (size < 4 || size > CClientSocket::kRequestSize || (opcode != kRrq && opcode != kWrq)) {
        return 0;
    }
    std::uint16_t port = 0;
    {
        CClientSocket client(f.h.app);
        client.m_PeerAddr = f.client.Address();
        client.m_LocalIp = "127.0.0.1";
        client.m_nClientId = 1;
        std::memcpy(client.m_pBuffer.data(), data, size);
        client.StartRequest(static_cast<int>(size));
        port = client.LocalPort();
    }

    int replies = 0;
    while (const auto reply = f.client.Receive(0)) {
        // Anything else is late from an earlier request's socket.
        if (f.client.LastSenderPort() == port) {
            Require(++replies == 1, "a request gets one reply");
            CheckReply(*reply, opcode);
        }
    }
    for (const auto& entry : std::filesystem::recursive_directory_iterator(f.h.in.Path())) {
        Require(!entry.is_regular_file() || entry.path() == f.h.in / "taken",
                "an upload that goes no further leaves no file");
    }
    ClearDirectory(f.h.in.Path(), "taken");
    return 0;
}
