#include <sys/resource.h>

#include <csignal>
#include <filesystem>

#include "unit/PeerSteps.h"

using Transfer = Served;

// Reads of files around the block size are curl's and atftp's in the interop tests.
TEST_F(Transfer, PeerErrorsEndTransfersSilentlyRepeatedAcksRepeatTheBlockAndSkipRetryHalvesThem) {
    const std::string content = PatternBytes(2000);
    WriteFile(h.out / "f", content);
    const std::string data1 = tftp::Data(1, content.substr(0, 512));
    const std::string data2 = tftp::Data(2, content.substr(512, 512));
    // The peer's own text is not shown; codes past the known ones read as 8.
    for (const auto& [code, shown] : {std::pair<int, std::string>{3, "Disk error [From Remote]"},
                                      {12, "Aborted [From Remote]"}}) {
        ASSERT_EQ(tftp::Opcode(peer->Exchange(h.port, tftp::Rrq("f")).value_or("")), 3);
        peer->Reply(tftp::Error(static_cast<std::uint16_t>(code), "whatever the peer says"));
        EXPECT_TRUE(Silent(*peer));
        EXPECT_EQ(LastCell(h, Col::kResult), shown);
    }

    WriteFile(h.in / "up", "old");
    ASSERT_EQ(peer->Exchange(h.port, tftp::Wrq("up")), tftp::Ack(0));
    EXPECT_EQ(peer->Answer(tftp::Data(1, PatternBytes(512))), tftp::Ack(1));
    peer->Reply(tftp::Error(0, ""));
    peer->Reply(tftp::Data(2, "late"));
    peer->Reply(tftp::Data(1, PatternBytes(512)));
    EXPECT_TRUE(Silent(*peer));
    EXPECT_EQ(ReadFile(h.in / "up"), "old") << "an abandoned upload leaves the old file";
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(h.in.Path()), {}), 1);
    h.Tick();
    EXPECT_EQ(h.app.ClientCount(), 0);
    EXPECT_EQ(LastCell(h, Col::kResult), "Inconclusive system error [From Remote]");

    // ACK 0 to a DATA 1 sent without options counts as a repeat of the block before.
    ASSERT_EQ(peer->Exchange(h.port, tftp::Rrq("f")), data1);
    EXPECT_EQ(peer->Answer(tftp::Ack(0)), data1);
    EXPECT_EQ(peer->Answer(tftp::Ack(0)), data1);
    EXPECT_EQ(LastCell(h, Col::kStatus), "Retrying");

    h.app.bSkipRetry = 1;
    // A good ACK clears the count.
    const std::pair<std::uint16_t, std::optional<std::string>> steps[] = {
        {0, std::nullopt}, {0, data1}, {0, std::nullopt}, {1, data2},
        {1, std::nullopt}, {1, data2}, {1, std::nullopt}, {1, data2},
    };
    for (const auto& [ack, expected] : steps) {
        peer->Reply(tftp::Ack(ack));
        EXPECT_EQ(peer->Receive(50), expected) << "ACK " << ack;
    }
}

TEST_F(Transfer, WritesStoreWholeFilesAnswerTheLastSenderAndReportAFailedStore) {
    ASSERT_EQ(peer->Exchange(h.port, tftp::Wrq("full")), tftp::Ack(0));
    // No file may grow, so the data cannot reach the disk when the last block stores them.
    signal(SIGXFSZ, SIG_IGN);
    rlimit old{};
    getrlimit(RLIMIT_FSIZE, &old);
    rlimit none = old;
    none.rlim_cur = 0;
    setrlimit(RLIMIT_FSIZE, &none);
    const auto reply = peer->Answer(tftp::Data(1, "x"));
    setrlimit(RLIMIT_FSIZE, &old);
    EXPECT_EQ(reply, tftp::Error(3, "Disk error"));
    EXPECT_TRUE(std::filesystem::is_empty(h.in.Path()));

    auto second = h.NewPeer("127.0.0.2");
    const tftp::Options blksize{{"blksize", "65464"}};
    const std::string a = PatternBytes(2 * 65464 + 10, 1), b = PatternBytes(2 * 65464 + 10, 2);
    ASSERT_EQ(peer->Exchange(h.port, tftp::Wrq("same", "octet", blksize)), tftp::Oack(blksize));
    ASSERT_EQ(second->Exchange(h.port, tftp::Wrq("same", "octet", blksize)), tftp::Oack(blksize));
    // Block 2 arrives from the second writer first, so each block's region has another last writer.
    for (std::uint16_t block : {1, 2, 3}) {
        TftpPeer* order[2] = {peer.get(), second.get()};
        if (block == 2) {
            std::swap(order[0], order[1]);
        }
        for (TftpPeer* writer : order) {
            const std::string& content = writer == peer.get() ? a : b;
            EXPECT_EQ(
                writer->Answer(tftp::Data(block, content.substr((block - 1) * 65464u, 65464))),
                tftp::Ack(block));
        }
    }
    EXPECT_EQ(ReadFile(h.in / "same"), b) << "the last to finish wins, whole";
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(h.in.Path()), {}), 1);

    const std::string first = PatternBytes(512, 1);
    auto stranger = h.NewPeer("127.0.0.2");
    WriteFile(h.in / "up", "old");
    ASSERT_EQ(peer->Exchange(h.port, tftp::Wrq("up")), tftp::Ack(0));
    EXPECT_EQ(peer->Answer(tftp::Data(1, first)), tftp::Ack(1));
    EXPECT_EQ(peer->Answer(tftp::Data(1, first)), tftp::Ack(1))
        << "the ACK was lost: it goes again";
    for (const std::string& ignored :
         {tftp::Data(3, "ahead"), tftp::Data(2, PatternBytes(513)), tftp::Ack(1)}) {
        peer->Reply(ignored);
        EXPECT_TRUE(Silent(*peer));
    }
    EXPECT_EQ(ReadFile(h.in / "up"), "old") << "the old file stands until the new one is whole";
    // A datagram from another address takes over the replies.
    EXPECT_EQ(stranger->Exchange(peer->LastSenderPort(), tftp::Data(2, "tail")), tftp::Ack(2));
    EXPECT_TRUE(Silent(*peer));
    EXPECT_EQ(peer->Answer(tftp::Data(2, "tail")), tftp::Ack(2))
        << "the last ACK too, while the socket lives";
    EXPECT_TRUE(Silent(*stranger));
    EXPECT_EQ(ReadFile(h.in / "up"), first + "tail");

    h.Tick();
    EXPECT_EQ(LastCell(h, Col::kResult), "Finished : Receiving");
    EXPECT_EQ(LastCell(h, Col::kClient), "127.0.0.1") << "the row keeps the first address";
}

// 65536 full blocks of 8 bytes, then a short one numbered 1 again.
TEST_F(Transfer, BlockNumbersWrapAndNetasciiLineEndsTravelAsPairsAcrossBlocks) {
    const std::string content = PatternBytes(65536 * 8 + 3);
    WriteFile(h.out / "long", content);
    const tftp::Options blksize{{"blksize", "8"}};
    ASSERT_EQ(peer->Exchange(h.port, tftp::Rrq("long", "octet", blksize)), tftp::Oack(blksize));
    peer->Reply(tftp::Ack(0));
    std::string received;
    for (std::uint32_t block = 1; block <= 65537; ++block) {
        const auto number = static_cast<std::uint16_t>(block);
        const auto data = peer->Receive();
        ASSERT_TRUE(data && tftp::Number(*data) == number) << "block " << block;
        received += tftp::Payload(*data);
        if (block == 65536) {
            // Block 0 is out: 65535 is no longer the block before it.
            peer->Reply(tftp::Ack(65535));
            ASSERT_TRUE(Silent(*peer));
        }
        peer->Reply(tftp::Ack(number));
    }
    EXPECT_EQ(received, content);
    h.Pump();
    h.Tick();
    EXPECT_EQ(LastCell(h, Col::kResult), "Finished : Sending");

    // At 8-byte blocks the CR LF of the first line end is split over two blocks.
    WriteFile(h.out / "t", "1234567\nX\r\n");
    EXPECT_EQ(
        peer->Exchange(h.port, tftp::Rrq("t", "netascii", {{"blksize", "8"}, {"tsize", "0"}})),
        tftp::Oack({{"tsize", "11"}, {"blksize", "8"}}))
        << "tsize is the length on the disk";

    const std::string second = tftp::Data(2, std::string("\nX\r\0\r\n", 6));
    EXPECT_EQ(peer->Answer(tftp::Ack(0)), tftp::Data(1, "1234567\r"));
    EXPECT_EQ(peer->Answer(tftp::Ack(1)), second);

    peer->Reply(tftp::Ack(2));
    EXPECT_TRUE(Silent(*peer));
    EXPECT_EQ(LastCell(h, Col::kStatus), "%100, 14") << "the total becomes what went out";

    // A write turns pairs back into line ends across blocks and keeps bare CRs.
    ASSERT_EQ(peer->Exchange(h.port, tftp::Wrq("t", "netascii", {{"blksize", "8"}})),
              tftp::Oack({{"blksize", "8"}}));
    const std::string blocks[] = {"abcdefg\r", std::string("\nh\r\0ijk\r", 8),
                                  std::string("\0x\rz\r", 5)};
    for (std::uint16_t block = 1; block <= 3; ++block) {
        EXPECT_EQ(peer->Answer(tftp::Data(block, blocks[block - 1])), tftp::Ack(block));
    }
    EXPECT_EQ(ReadFile(h.in / "t"), "abcdefg\nh\rijk\rx\rz\r") << "a bare CR stands for itself";
}
