#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>

#include "support/ServerHarness.h"

using Col = CClientListModel::Column;

// A column of the newest row, which belongs to the client admitted last.
inline const std::string& LastCell(const ServerHarness& h, Col column) {
    return h.model.Rows().back().columns[column];
}

// Nothing arrives within a short wait. Loopback delivery is immediate and the wait pumps the
// server, so a reply that is on its way is there long before the wait ends.
inline bool Silent(TftpPeer& peer) {
    return !peer.Receive(50);
}

// Reads a file with a request that has no options, acknowledging every block, the last one
// too; nothing if a reply is not the next DATA.
inline std::optional<std::string> Download(TftpPeer& peer, std::uint16_t port,
                                           const std::string& name) {
    std::string content;
    std::optional<std::string> reply = peer.Exchange(port, tftp::Rrq(name));
    for (std::uint16_t block = 1; block < 1000; ++block) {
        if (!reply || tftp::Opcode(*reply) != 3 || tftp::Number(*reply) != block) {
            return std::nullopt;
        }
        const std::string payload = tftp::Payload(*reply);
        content += payload;
        peer.Reply(tftp::Ack(block));
        if (payload.size() < 512) {
            return content;
        }
        reply = peer.Receive();
    }
    return std::nullopt;
}

// Writes content with a request that has no options, in 512-byte blocks and a short last one;
// false at the first reply that is not the awaited ACK.
inline bool Upload(TftpPeer& peer, std::uint16_t port, const std::string& name,
                   const std::string& content) {
    if (peer.Exchange(port, tftp::Wrq(name)) != tftp::Ack(0)) {
        return false;
    }
    for (std::uint16_t block = 1;; ++block) {
        const std::size_t offset = (block - 1) * std::size_t{512};
        const std::string piece = content.substr(std::min(offset, content.size()), 512);
        peer.Reply(tftp::Data(block, piece));
        if (peer.Receive() != tftp::Ack(block)) {
            return false;
        }
        if (piece.size() < 512) {
            return true;
        }
    }
}
