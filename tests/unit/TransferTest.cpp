#include <gtest/gtest.h>

#include "support/ServerHarness.h"
#include "unit/PeerSteps.h"

TEST(Transfer, ReadsEndWithAShortBlockEvenAnEmptyOne) {
    ServerHarness h;
    ASSERT_TRUE(h.Start());
    auto peer = h.NewPeer();
    for (std::size_t size : {std::size_t{0}, std::size_t{512}, std::size_t{1300}}) {
        const std::string name = "f" + std::to_string(size);
        WriteFile(h.out / name, PatternBytes(size, static_cast<unsigned>(size)));
        EXPECT_EQ(Download(*peer, h.port, name), ReadFile(h.out / name));
        EXPECT_TRUE(Silent(*peer)) << "nothing follows the ACK of the short block";
    }
    EXPECT_EQ(LastCell(h, Col::kStatus), "%100, 1300");
    h.Pump();
    h.Tick();
    EXPECT_EQ(h.app.ClientCount(), 0);
    for (std::size_t row = 1; row <= 3; ++row) {
        EXPECT_EQ(h.model.Rows()[row].columns[Col::kResult], "Finished : Sending");
    }
}

TEST(Transfer, WritesAcknowledgeEachNewBlockOnceAndIgnoreTheRest) {
    ServerHarness h;
    ASSERT_TRUE(h.Start());
    auto peer = h.NewPeer();
    const std::string first = PatternBytes(512, 1);
    ASSERT_EQ(peer->Exchange(h.port, tftp::Wrq("up")), tftp::Ack(0));
    peer->Reply(tftp::Data(1, first));
    EXPECT_EQ(peer->Receive(), tftp::Ack(1));
    EXPECT_EQ(LastCell(h, Col::kStatus), "Receiving");
    for (const std::string& ignored :
         {tftp::Data(1, first), tftp::Data(3, "ahead"), tftp::Data(2, PatternBytes(513)),
          tftp::Ack(1), std::string("\x00\x03", 2)}) {
        peer->Reply(ignored);
        EXPECT_TRUE(Silent(*peer));
    }
    // The status comes back from a wait with the next good block.
    h.ExpireAndTick();
    EXPECT_EQ(LastCell(h, Col::kStatus), "Waiting ...");
    peer->Reply(tftp::Data(2, "tail"));
    EXPECT_EQ(peer->Receive(), tftp::Ack(2));
    EXPECT_EQ(LastCell(h, Col::kStatus), "Receiving");
    EXPECT_EQ(ReadFile(h.in / "up"), first + "tail");

    // A block of exactly the agreed size is not the last; an empty one is.
    EXPECT_TRUE(Upload(*peer, h.port, "even", first));
    EXPECT_EQ(ReadFile(h.in / "even"), first);
    h.Tick();
    EXPECT_EQ(LastCell(h, Col::kResult), "Finished : Receiving");
}

TEST(Transfer, LargestAgreedBlockTravelsBothWays) {
    ServerHarness h;
    const std::string content = PatternBytes(65464 + 5);
    WriteFile(h.out / "big", content);
    ASSERT_TRUE(h.Start());
    auto peer = h.NewPeer();
    const std::pair<std::string, std::string> blksize{"blksize", "65464"};

    ASSERT_EQ(
        tftp::Opcode(peer->Exchange(h.port, tftp::Rrq("big", "octet", {blksize})).value_or("")), 6);
    peer->Reply(tftp::Ack(0));
    EXPECT_EQ(peer->Receive(), tftp::Data(1, content.substr(0, 65464)));
    peer->Reply(tftp::Ack(1));
    EXPECT_EQ(peer->Receive(), tftp::Data(2, content.substr(65464)));

    ASSERT_EQ(
        tftp::Opcode(peer->Exchange(h.port, tftp::Wrq("up", "octet", {blksize})).value_or("")), 6);
    peer->Reply(tftp::Data(1, content.substr(0, 65464)));
    EXPECT_EQ(peer->Receive(), tftp::Ack(1));
    peer->Reply(tftp::Data(2, content.substr(65464)));
    EXPECT_EQ(peer->Receive(), tftp::Ack(2));
    EXPECT_EQ(ReadFile(h.in / "up"), content);
}

TEST(Transfer, RepeatedAcksRepeatTheBlockAndSkipRetryHalvesThem) {
    ServerHarness h;
    const std::string content = PatternBytes(2000);
    WriteFile(h.out / "f", content);
    ASSERT_TRUE(h.Start());
    auto peer = h.NewPeer();
    const std::string data1 = tftp::Data(1, content.substr(0, 512));
    const std::string data2 = tftp::Data(2, content.substr(512, 512));
    // ACK 0 to a DATA 1 sent without options counts as a repeat of the block before.
    ASSERT_EQ(peer->Exchange(h.port, tftp::Rrq("f")), data1);
    EXPECT_EQ(peer->Exchange(peer->LastSenderPort(), tftp::Ack(0)), data1);
    EXPECT_EQ(peer->Exchange(peer->LastSenderPort(), tftp::Ack(0)), data1);
    EXPECT_EQ(LastCell(h, Col::kStatus), "Retrying");

    h.app.bSkipRetry = 1;
    const std::pair<std::uint16_t, std::optional<std::string>> steps[] = {
        {0, std::nullopt},
        {0, data1},
        {0, std::nullopt},
        // A good ACK clears the count.
        {1, data2},
        {1, std::nullopt},
        {1, data2},
        {1, std::nullopt},
        {1, data2},
    };
    for (const auto& [ack, expected] : steps) {
        peer->Reply(tftp::Ack(ack));
        EXPECT_EQ(peer->Receive(50), expected) << "ACK " << ack;
    }
}

TEST(Transfer, ADatagramFromAnotherAddressTakesOverTheReplies) {
    ServerHarness h;
    ASSERT_TRUE(h.Start());
    auto owner = h.NewPeer("127.0.0.1");
    auto stranger = h.NewPeer("127.0.0.2");
    const std::string first = PatternBytes(512);
    ASSERT_EQ(owner->Exchange(h.port, tftp::Wrq("up")), tftp::Ack(0));
    const std::uint16_t transferPort = owner->LastSenderPort();

    EXPECT_EQ(stranger->Exchange(transferPort, tftp::Data(1, first)), tftp::Ack(1));
    EXPECT_TRUE(Silent(*owner));
    EXPECT_EQ(owner->Exchange(transferPort, tftp::Data(2, "end")), tftp::Ack(2));
    EXPECT_TRUE(Silent(*stranger));
    EXPECT_EQ(ReadFile(h.in / "up"), first + "end");
    EXPECT_EQ(LastCell(h, Col::kClient), "127.0.0.1") << "the row keeps the first address";
}

TEST(Transfer, PeerErrorEndsTheTransferSilentlyAndMarksTheRow) {
    ServerHarness h;
    WriteFile(h.out / "f", PatternBytes(2000));
    ASSERT_TRUE(h.Start());
    auto peer = h.NewPeer();
    const std::pair<std::uint16_t, std::string> errors[] = {{3, "Disk error [From Remote]"},
                                                            {8, "Aborted [From Remote]"},
                                                            {12, "Aborted [From Remote]"}};
    for (const auto& [code, shown] : errors) {
        ASSERT_EQ(tftp::Opcode(peer->Exchange(h.port, tftp::Rrq("f")).value_or("")), 3);
        // The peer's own text is not shown.
        peer->Reply(tftp::Error(code, "whatever the peer says"));
        EXPECT_TRUE(Silent(*peer));
        EXPECT_EQ(LastCell(h, Col::kResult), shown);
    }

    const std::string first = PatternBytes(512);
    ASSERT_EQ(peer->Exchange(h.port, tftp::Wrq("up")), tftp::Ack(0));
    EXPECT_EQ(peer->Exchange(peer->LastSenderPort(), tftp::Data(1, first)), tftp::Ack(1));
    peer->Reply(tftp::Error(0, ""));
    peer->Reply(tftp::Data(2, "late"));
    EXPECT_TRUE(Silent(*peer));
    EXPECT_EQ(LastCell(h, Col::kResult), "Inconclusive system error [From Remote]");
    EXPECT_EQ(ReadFile(h.in / "up"), first) << "the part received stays";

    h.Tick();
    EXPECT_EQ(h.app.ClientCount(), 0);
    EXPECT_EQ(LastCell(h, Col::kResult), "Inconclusive system error [From Remote]");
}

TEST(Transfer, AFailedStoreIsADiskErrorNotAnAck) {
    ServerHarness h;
    if (!FileExists("/dev/full")) {
        GTEST_SKIP() << "no /dev/full";
    }
    ASSERT_TRUE(h.Start());
    h.app.InPath = "/dev/";
    auto peer = h.NewPeer();
    ASSERT_EQ(peer->Exchange(h.port, tftp::Wrq("full")), tftp::Ack(0));
    EXPECT_EQ(peer->Exchange(peer->LastSenderPort(), tftp::Data(1, "x")),
              tftp::Error(3, "Disk error"));
    EXPECT_EQ(LastCell(h, Col::kResult), "Disk error");
}

TEST(Transfer, BlockNumbersWrapPastTheLastOne) {
    ServerHarness h;
    // 65536 full blocks of 8 bytes, then a short one numbered 1 again.
    const std::string content = PatternBytes(65536 * 8 + 3);
    WriteFile(h.out / "long", content);
    ASSERT_TRUE(h.Start());
    auto peer = h.NewPeer();
    ASSERT_EQ(
        tftp::Opcode(
            peer->Exchange(h.port, tftp::Rrq("long", "octet", {{"blksize", "8"}})).value_or("")),
        6);
    peer->Reply(tftp::Ack(0));
    std::string received;
    for (std::uint32_t block = 1; block <= 65537; ++block) {
        const auto data = peer->Receive();
        ASSERT_TRUE(data) << "block " << block;
        ASSERT_EQ(tftp::Number(*data), static_cast<std::uint16_t>(block));
        received += tftp::Payload(*data);
        if (block == 65536) {
            // Block 0 is out: 65535 is no longer the block before it.
            peer->Reply(tftp::Ack(65535));
            ASSERT_TRUE(Silent(*peer));
        }
        peer->Reply(tftp::Ack(static_cast<std::uint16_t>(block)));
    }
    EXPECT_EQ(received, content);
    h.Pump();
    h.Tick();
    EXPECT_EQ(LastCell(h, Col::kResult), "Finished : Sending");
}
