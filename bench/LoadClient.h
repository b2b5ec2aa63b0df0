#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// A TFTP load client: many lockstep sessions in one thread, one UDP socket each, every byte
// of a read checked against the bytes expected.
namespace bench {

enum class Direction { Read, Write };

struct TransferSpec {
    std::string host = "127.0.0.1";  // IPv4, loopback only
    std::uint16_t port = 69;
    // The name asked for; "{n}" in it becomes the transfer's serial, so writes need not clash.
    std::string remote;
    Direction direction = Direction::Read;
    bool bNetascii = false;
    // The RFC 2347 options to ask for; none of them makes a plain RFC 1350 request.
    std::optional<std::size_t> blksize;
    bool bTsize = false;
    std::optional<unsigned> timeoutOption;  // seconds
    // In local form: what a read must deliver, or what a write sends.
    std::string_view local;
    int retryMs = 1000;
    int maxRetries = 5;
};

struct LoadPlan {
    TransferSpec spec;
    unsigned sessions = 1;  // at once
    unsigned count = 1;     // transfers each session runs one after another
    double deadlineSeconds = 600;
};

struct TransferResult {
    bool bOk = false;
    std::string failure;
    std::uint64_t bytes = 0;  // in local form, confirmed by the other side
    double seconds = 0;       // request to the last DATA or ACK
    // Request to the first OACK or DATA (ACK 0 for a write); negative if none came.
    double firstReplySeconds = -1;
    unsigned retransmits = 0;
};

struct LoadReport {
    std::vector<TransferResult> transfers;
    double seconds = 0;  // the first request to the last transfer's end
};

LoadReport RunLoad(const LoadPlan& plan);

}  // namespace bench
