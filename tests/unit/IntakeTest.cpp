#include <gtest/gtest.h>

#include "unit/PeerSteps.h"

using Intake = Served;

TEST_F(Intake, DirectionSwitchesRefuseAndMalformedOrOverlongRequestsGetSilence) {
    WriteFile(h.out / "f", "abc");

    h.app.bNoIncoming = 1;
    EXPECT_EQ(peer->Exchange(h.port, tftp::Wrq("up")), kRefusal);
    EXPECT_EQ(peer->LastSenderPort(), h.port);
    EXPECT_EQ(peer->Exchange(h.port, tftp::Rrq("f")), tftp::Data(1, "abc"));
    EXPECT_NE(peer->LastSenderPort(), h.port) << "a transfer answers from its own port";

    h.app.bNoIncoming = 0;
    h.app.bNoOutbound = 1;
    EXPECT_EQ(peer->Exchange(h.port, tftp::Rrq("f")), kRefusal);
    EXPECT_EQ(peer->Exchange(h.port, tftp::Wrq("up")), tftp::Ack(0));
    h.app.bNoOutbound = 0;

    // Malformed and overlong datagrams get silence and no row.
    for (const std::string& packet : {std::string(), std::string("\x00\x01\x00", 3)}) {
        peer->SendTo(h.port, packet);
        EXPECT_TRUE(Silent(*peer)) << packet.size() << " bytes";
    }
    for (std::uint16_t opcode : {0, 3, 5, 6, 0x0101}) {
        peer->SendTo(h.port, tftp::Request(opcode, "f", "octet"));
        EXPECT_TRUE(Silent(*peer)) << "opcode " << opcode;
    }
    // An ignored option pads the request to the size of the receive buffer and one beyond.
    const std::string at512 = tftp::Rrq("f", "octet", {{"pad", std::string(497, '7')}});
    ASSERT_EQ(at512.size(), 512u);
    peer->SendTo(h.port, at512 + '\0');
    EXPECT_TRUE(Silent(*peer)) << "a cut request must not be served";
    EXPECT_EQ(h.model.Rows().size(), 3u) << "the banner and the two clients served";
    EXPECT_EQ(peer->Exchange(h.port, at512), tftp::Data(1, "abc"));
}

TEST_F(Intake, ClientLimitHoldsUntilTheTickHasRetiredTheClient) {
    WriteFile(h.out / "f", "abc");
    h.app.nMaxClientsPos = 0;
    auto second = h.NewPeer("127.0.0.2");

    ASSERT_EQ(peer->Exchange(h.port, tftp::Rrq("f")), tftp::Data(1, "abc"));
    EXPECT_EQ(second->Exchange(h.port, tftp::Rrq("f")), kTooMany);
    EXPECT_EQ(second->LastSenderPort(), h.port);
    // Finished, yet on the table until the tick.
    peer->Reply(tftp::Ack(1));
    h.Pump();
    EXPECT_EQ(second->Exchange(h.port, tftp::Rrq("f")), kTooMany);

    h.Tick();
    EXPECT_EQ(second->Exchange(h.port, tftp::Rrq("f")), tftp::Data(1, "abc"));
    EXPECT_EQ(h.model.Rows().back().itemData, 2) << "refused clients used no serial";
    EXPECT_EQ(LastCell(h, Col::kClient), "127.0.0.2");
}

TEST_F(Intake, SerialsRunFromOneToOneThousandAndOneThenAgainFromOne) {
    WriteFile(h.out / "f", "abc");
    h.app.nMaxClientsPos = 5;
    for (int client = 1; client <= 1000; ++client) {
        ASSERT_EQ(tftp::Opcode(peer->Exchange(h.port, tftp::Rrq("missing")).value_or("")), 5);
        if (client % 100 == 0) {
            h.Tick();
        }
    }
    // A running transfer keeps its serial as the key of its row.
    for (std::intptr_t serial : {1001, 1}) {
        ASSERT_EQ(peer->Exchange(h.port, tftp::Rrq("f")), tftp::Data(1, "abc"));
        EXPECT_EQ(h.model.Rows().back().itemData, serial);
    }
}
