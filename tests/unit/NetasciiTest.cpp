#include <gtest/gtest.h>

#include "unit/PeerSteps.h"

using Netascii = Served;

TEST_F(Netascii, ReadSendsLineEndsAsPairsAndCountsWhatWentOut) {
    // At 8-byte blocks the CR LF of the first line end is split over two blocks.
    WriteFile(h.out / "t", "1234567\nX\r\n");
    EXPECT_EQ(
        peer->Exchange(h.port, tftp::Rrq("t", "netascii", {{"blksize", "8"}, {"tsize", "0"}})),
        tftp::Oack({{"tsize", "11"}, {"blksize", "8"}}))
        << "tsize is the length on the disk";

    const std::string second = tftp::Data(2, std::string("\nX\r\0\r\n", 6));
    EXPECT_EQ(peer->Exchange(peer->LastSenderPort(), tftp::Ack(0)), tftp::Data(1, "1234567\r"));
    EXPECT_EQ(peer->Exchange(peer->LastSenderPort(), tftp::Ack(1)), second);

    peer->Reply(tftp::Ack(2));
    EXPECT_TRUE(Silent(*peer));
    EXPECT_EQ(LastCell(h, Col::kStatus), "%100, 14") << "the total becomes what went out";
}

TEST_F(Netascii, WriteTurnsPairsBackIntoLineEndsAcrossBlocksAndKeepsBareCrs) {
    ASSERT_EQ(peer->Exchange(h.port, tftp::Wrq("t", "netascii", {{"blksize", "8"}})),
              tftp::Oack({{"blksize", "8"}}));
    const std::string blocks[] = {"abcdefg\r", std::string("\nh\r\0ijk\r", 8),
                                  std::string("\0x\rz\r", 5)};
    for (std::uint16_t block = 1; block <= 3; ++block) {
        EXPECT_EQ(peer->Exchange(peer->LastSenderPort(), tftp::Data(block, blocks[block - 1])),
                  tftp::Ack(block));
    }
    EXPECT_EQ(ReadFile(h.in / "t"), "abcdefg\nh\rijk\rx\rz\r") << "a bare CR stands for itself";
}
