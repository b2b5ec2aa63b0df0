#include <gtest/gtest.h>

#include "support/ServerHarness.h"
#include "unit/PeerSteps.h"

TEST(Netascii, ReadSendsLineEndsAsPairsAndRepeatsABlockByteForByte) {
    ServerHarness h;
    // At 8-byte blocks the CR LF of the first line end is split over two blocks.
    WriteFile(h.out / "t", "1234567\nX\r\n");
    ASSERT_TRUE(h.Start());
    auto peer = h.NewPeer();
    const auto oack =
        peer->Exchange(h.port, tftp::Rrq("t", "netascii", {{"blksize", "8"}, {"tsize", "0"}}));
    ASSERT_TRUE(oack);
    EXPECT_EQ(tftp::OackOptions(*oack).front(),
              std::make_pair(std::string("tsize"), std::string("11")))
        << "tsize is the length on the disk";

    const std::string second = tftp::Data(2, std::string("\nX\r\0\r\n", 6));
    EXPECT_EQ(peer->Exchange(peer->LastSenderPort(), tftp::Ack(0)), tftp::Data(1, "1234567\r"));
    EXPECT_EQ(peer->Exchange(peer->LastSenderPort(), tftp::Ack(1)), second);
    EXPECT_EQ(peer->Exchange(peer->LastSenderPort(), tftp::Ack(1)), second);
    h.ExpireAndTick();
    EXPECT_EQ(peer->Receive(), second);

    peer->Reply(tftp::Ack(2));
    EXPECT_TRUE(Silent(*peer));
    EXPECT_EQ(LastCell(h, Col::kStatus), "%100, 14") << "the total becomes what went out";
    h.Tick();
    EXPECT_EQ(LastCell(h, Col::kResult), "Finished : Sending");
}

TEST(Netascii, WriteTurnsPairsBackIntoLineEndsAcrossBlocks) {
    ServerHarness h;
    ASSERT_TRUE(h.Start());
    auto peer = h.NewPeer();
    ASSERT_EQ(
        tftp::Opcode(
            peer->Exchange(h.port, tftp::Wrq("t", "netascii", {{"blksize", "8"}})).value_or("")),
        6);
    const std::string blocks[] = {"abcdefg\r", std::string("\nh\r\0ijk\r", 8),
                                  std::string("\0", 1)};
    for (std::uint16_t block = 1; block <= 3; ++block) {
        EXPECT_EQ(peer->Exchange(peer->LastSenderPort(), tftp::Data(block, blocks[block - 1])),
                  tftp::Ack(block));
    }
    EXPECT_EQ(ReadFile(h.in / "t"), "abcdefg\nh\rijk\r");
}
