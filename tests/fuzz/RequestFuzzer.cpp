// A client's first datagram: one well-formed first reply, and no file from an upload left there.
#include <sys/stat.h>

#include <cstdint>
#include <filesystem>
#include <set>

#include "fuzz/FuzzSupport.h"

namespace {

struct Fixture : FuzzServer {
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
};

// Options this server knows, each once, with a decimal value in range.
void CheckOack(const std::string& reply) {
    const auto options = bench::ParseOptions(std::string_view(reply).substr(2));
    Require(options && !options->empty(), "an OACK is whole name and value pairs, one at least");
    std::set<std::string> names;
    for (const auto& [name, value] : *options) {
        const auto number = bench::ParseSize(value);
        Require(number.has_value(), "an OACK value is a decimal number");
        Require(names.insert(name).second, "an OACK names each option once");
        if (name == "blksize") {
            Require(
                *number >= CClientSocket::kMinBlockSize && *number <= CClientSocket::kMaxBlockSize,
                "an agreed blksize lies between 8 and 65464");
        } else if (name == "timeout") {
            Require(*number <= INT32_MAX, "an agreed timeout fits the server's seconds");
        } else {
            Require(name == "tsize", "an OACK holds only blksize, timeout and tsize");
        }
    }
}

void CheckReply(const std::string& reply, std::uint16_t requestOpcode) {
    const std::uint16_t opcode = tftp::Opcode(reply);
    if (opcode == bench::kError) {
        Require(reply.size() >= 5 && reply.find('\0', 4) == reply.size() - 1,
                "an ERROR carries one text ended by a zero byte");
        Require(tftp::Number(reply) <= 8, "an ERROR code is one of TFTP's");
    } else if (opcode == bench::kOack) {
        CheckOack(reply);
    } else if (requestOpcode == bench::kRrq) {
        Require(opcode == bench::kData && tftp::Number(reply) == 1 && reply.size() <= 4 + 512,
                "a read without options starts with DATA 1 of at most 512 bytes");
    } else {
        Require(reply == tftp::Ack(0), "a write without options starts with ACK 0");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static Fixture f;
    // CListenSocket::OnReceive passes on only these: a read or write of 4 to 512 bytes.
    const std::string request(reinterpret_cast<const char*>(data), size);
    const std::uint16_t opcode = tftp::Opcode(request);
    if (size < 4 || size > CClientSocket::kRequestSize ||
        (opcode != bench::kRrq && opcode != bench::kWrq)) {
        return 0;
    }
    // The socket closes at once, as if the client had gone.
    const std::uint16_t port = f.Start(request)->LocalPort();
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
