#include <gtest/gtest.h>

#include "support/ServerHarness.h"
#include "unit/PeerSteps.h"

namespace {

const std::string kRefusal("\x00\x05\x00\x00Service not available\x00\x00", 27);
const std::string kTooMany("\x00\x05\x00\x00Too Many Clients\x00", 21);

}  // namespace

TEST(Intake, DirectionSwitchesRefuseFromTheListeningPort) {
    ServerHarness h;
    WriteFile(h.out / "f", "abc");
    ASSERT_TRUE(h.Start());
    auto peer = h.NewPeer();

    h.app.bNoIncoming = 1;
    EXPECT_EQ(peer->Exchange(h.port, tftp::Wrq("up")), kRefusal);
    EXPECT_EQ(peer->LastSenderPort(), h.port);
    EXPECT_EQ(peer->Exchange(h.port, tftp::Rrq("f")), tftp::Data(1, "abc"));
    EXPECT_NE(peer->LastSenderPort(), h.port) << "a transfer answers from its own port";

    h.app.bNoIncoming = 0;
    h.app.bNoOutbound = 1;
    EXPECT_EQ(peer->Exchange(h.port, tftp::Rrq("f")), kRefusal);
    EXPECT_EQ(peer->Exchange(h.port, tftp::Wrq("up")), tftp::Ack(0));
    EXPECT_EQ(h.model.Rows().size(), 3u) << "the banner and the two clients served";
}

TEST(Intake, MalformedAndOverlongDatagramsGetSilenceAndNoRow) {
    ServerHarness h;
    WriteFile(h.out / "f", "abc");
    ASSERT_TRUE(h.Start());
    auto peer = h.NewPeer();
    const std::string tooShort[] = {"", std::string("\x00", 1), std::string("\x00\x01\x00", 3)};
    for (const std::string& packet : tooShort) {
        peer->SendTo(h.port, packet);
        EXPECT_TRUE(Silent(*peer)) << packet.size() << " bytes";
    }
    for (std::uint16_t opcode : {0, 3, 4, 5, 6, 7, 0x0101}) {
        peer->SendTo(h.port, tftp::Request(opcode, "f", "octet"));
        EXPECT_TRUE(Silent(*peer)) << "opcode " << opcode;
    }

    // An ignored option pads the request to the size of the receive buffer and one beyond.
    const std::string at512 = tftp::Rrq("f", "octet", {{"pad", std::string(497, '7')}});
    ASSERT_EQ(at512.size(), 512u);
    peer->SendTo(h.port, at512 + '\0');
    EXPECT_TRUE(Silent(*peer)) << "a cut request must not be served";
    EXPECT_EQ(h.model.Rows().size(), 1u);
    EXPECT_EQ(peer->Exchange(h.port, at512), tftp::Data(1, "abc"));
}

TEST(Intake, ClientLimitHoldsUntilTheTickHasRetiredTheClient) {
    ServerHarness h;
    WriteFile(h.out / "f", "abc");
    ASSERT_TRUE(h.Start());
    h.app.nMaxClientsPos = 0;
    auto first = h.NewPeer("127.0.0.1");
    auto second = h.NewPeer("127.0.0.2");

    ASSERT_EQ(first->Exchange(h.port, tftp::Rrq("f")), tftp::Data(1, "abc"));
    EXPECT_EQ(second->Exchange(h.port, tftp::Rrq("f")), kTooMany);
    EXPECT_EQ(second->LastSenderPort(), h.port);
    // Finished, yet on the table until the tick.
    first->Reply(tftp::Ack(1));
    h.Pump();
    EXPECT_EQ(second->Exchange(h.port, tftp::Rrq("f")), kTooMany);
    EXPECT_EQ(h.model.Rows().size(), 2u);

    h.Tick();
    EXPECT_EQ(second->Exchange(h.port, tftp::Rrq("f")), tftp::Data(1, "abc"));
    EXPECT_EQ(h.model.Rows().back().itemData, 2) << "refused clients used no serial";
    EXPECT_EQ(LastCell(h, Col::kClient), "127.0.0.2");
}

TEST(Intake, SerialsRunFromOneToOneThousandAndOneThenAgainFromOne) {
    ServerHarness h;
    WriteFile(h.out / "f", "abc");
    ASSERT_TRUE(h.Start());
    h.app.nMaxClientsPos = 5;
    auto peer = h.NewPeer();
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
