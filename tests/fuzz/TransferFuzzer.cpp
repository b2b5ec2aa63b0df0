// A read and a write on client sockets of their own, fed as OnReceive feeds them. The first byte
// shapes both; then each datagram is a byte (high bit: to the read; the rest: length, 0 for a
// time-out) and that many bytes. DATA must carry its block, ACK a stored one, an upload end whole.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <memory>

#include "fuzz/FuzzSupport.h"

namespace {

// As many as CListenSocket::Housekeeping allows before it gives a client up.
constexpr int kMaxRetries = 5;

constexpr std::size_t kFileSizes[8] = {0, 1, 7, 8, 9, 64, 100, 300};
constexpr const char* kBlockSizes[4] = {nullptr, "8", "16", "64"};

// Line ends of both kinds and bare CRs, so that netascii pairs fall across block edges.
std::string Content(std::size_t size) {
    std::string content;
    while (content.size() < size) {
        content += "ab\ncd\r\nef\rg\n\r\r";
    }
    return content.substr(0, size);
}

struct Fixture : FuzzServer {
    Fixture() {
        for (std::size_t size : kFileSizes) {
            WriteFile(h.out / ("f" + std::to_string(size)), Content(size));
        }
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static Fixture f;
    if (size < 1) {
        return 0;
    }
    const bool bNetascii = (data[0] & 0x01) != 0;
    const char* blockSize = kBlockSizes[(data[0] >> 1) & 0x03];
    f.h.app.bSkipRetry = (data[0] >> 3) & 0x01;
    const std::size_t fileSize = kFileSizes[(data[0] >> 4) & 0x07];
    tftp::Options options;
    if (blockSize != nullptr) {
        options.emplace_back("blksize", blockSize);
    }
    if ((data[0] & 0x80) != 0) {
        options.emplace_back("timeout", "3");
    }
    const std::string mode = bNetascii ? "netascii" : "octet";

    auto writer = f.Start(tftp::Wrq("up", mode, options));
    auto reader = f.Start(tftp::Rrq("f" + std::to_string(fileSize), mode, options));
    Require(writer->m_bActive == 1 && reader->m_bActive == 1,
            "a request for a file that is there starts its transfer");
    const std::uint16_t writePort = writer->LocalPort();
    const std::uint16_t readPort = reader->LocalPort();
    const auto readBlock = static_cast<std::size_t>(reader->m_nBlockSize);
    const auto writeBlock = static_cast<std::size_t>(writer->m_nBlockSize);
    const std::string content = Content(fileSize);
    std::string wire = content;
    if (bNetascii) {
        wire.resize(2 * content.size());
        wire.resize(bench::NetasciiEncoder(content).Fill(wire.data(), wire.size()));
    }
    // What the client has sent of the upload by RFC 1350's rules: block n+1 follows block n, the
    // first short block is the last, and an ERROR before it abandons the upload.
    std::uint16_t next = 1;
    bool bDone = false, bAbandoned = false;
    std::string uploaded;

    const auto checkReplies = [&] {
        while (const auto reply = f.client.Receive(0)) {
            const std::string& packet = *reply;
            const std::uint16_t from = f.client.LastSenderPort();
            const std::uint16_t block = tftp::Number(packet);
            if (from == readPort && tftp::Opcode(packet) == bench::kData) {
                const std::size_t at = (block - 1u) * readBlock;
                Require(packet.size() >= 4 && block >= 1 && at <= wire.size() &&
                            packet.compare(4, std::string::npos, wire, at, readBlock) == 0,
                        "a DATA carries its block of the file");
            } else if (from == writePort && tftp::Opcode(packet) == bench::kAck) {
                Require(block < next, "an ACK names a block that is stored");
            }
        }
    };
    checkReplies();

    for (std::size_t pos = 1; pos < size;) {
        const bool bToReader = (data[pos] & 0x80) != 0;
        const std::size_t length = std::min<std::size_t>(data[pos] & 0x7F, size - pos - 1);
        const std::string packet(reinterpret_cast<const char*>(data) + pos + 1, length);
        pos += 1 + length;
        CClientSocket& socket = bToReader ? *reader : *writer;
        // The receive fails for a datagram longer than this, and OnReceive drops one below 4.
        const std::size_t longest =
            std::min(static_cast<std::size_t>(socket.m_nBlockSize) + 4, socket.m_pBuffer.size());
        if (length == 0) {
            if (socket.m_bActive == 1 && socket.m_nRetries < kMaxRetries) {
                ++socket.m_nRetries;
                socket.Retransmit();
            }
        } else if (length >= 4 && length <= longest) {
            socket.m_LastPacket = f.h.clock.Seconds();
            std::memcpy(socket.m_pBuffer.data(), packet.data(), length);
            socket.m_nLastRecv = static_cast<int>(length);
            if (bToReader) {
                socket.HandleAck();
            } else {
                socket.HandleData();
                const bool bOpen = !bDone && !bAbandoned;
                bAbandoned |= bOpen && tftp::Opcode(packet) == bench::kError;
                if (bOpen && tftp::Opcode(packet) == bench::kData && tftp::Number(packet) == next) {
                    uploaded += packet.substr(4);
                    ++next;
                    bDone = packet.size() - 4 < writeBlock;
                }
            }
        }
        checkReplies();
    }

    // The tick retires both clients.
    writer.reset();
    reader.reset();
    const std::string up = f.h.in / "up";
    const auto entries = std::distance(std::filesystem::directory_iterator(f.h.in.Path()), {});
    Require(entries == (bDone ? 1 : 0) && FileExists(up) == bDone,
            "an upload leaves its whole file or nothing");
    // Netascii's line ends are the server's to translate.
    Require(!bDone || bNetascii || ReadFile(up) == uploaded,
            "a finished upload holds its blocks in order");
    ClearDirectory(f.h.in.Path());
    return 0;
}
