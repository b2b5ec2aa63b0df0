#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "support/ServerHarness.h"

using Col = CClientListModel::Column;

// The two refusals from the listening port, byte for byte.
inline const std::string kRefusal("\x00\x05\x00\x00Service not available\x00\x00", 27);
inline const std::string kTooMany("\x00\x05\x00\x00Too Many Clients\x00", 21);

class Served : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(h.Start());
        peer = h.NewPeer();
    }
    ServerHarness h;
    std::unique_ptr<TftpPeer> peer;
};

// A column of the newest row, which belongs to the client admitted last.
inline const std::string& LastCell(const ServerHarness& h, Col column) {
    return h.model.Rows().back().columns[column];
}

// The wait pumps the server and loopback is immediate, so a reply on its way arrives in time.
inline bool Silent(TftpPeer& peer) {
    return !peer.Receive(50);
}

// Writes content without options in 512-byte blocks; false at a wrong reply.
inline bool Upload(TftpPeer& peer, std::uint16_t port, const std::string& name,
                   const std::string& content) {
    bool bOk = peer.Exchange(port, tftp::Wrq(name)) == tftp::Ack(0);
    for (std::uint16_t block = 1; bOk; ++block) {
        const std::string piece =
            content.substr(std::min<std::size_t>(content.size(), (block - 1) * 512u), 512);
        bOk = peer.Answer(tftp::Data(block, piece)) == tftp::Ack(block);
        if (piece.size() < 512) {
            return bOk;
        }
    }
    return false;
}
