#include <filesystem>

#include "unit/PeerSteps.h"

using Housekeeping = Served;

TEST_F(Housekeeping, RetriesFollowThePacketsTimeOutsTheOptionAndOnlyACleanReadDeletesItsFile) {
    std::string content = PatternBytes(600);
    WriteFile(h.out / "f", content);
    h.app.bDeleteAfterSend = 1;
    auto writer = h.NewPeer("127.0.0.2");
    const auto data1 = peer->Exchange(h.port, tftp::Rrq("f"));
    ASSERT_TRUE(data1);
    ASSERT_EQ(writer->Exchange(h.port, tftp::Wrq("w")), tftp::Ack(0));
    const auto& rows = h.model.Rows();

    h.clock.Advance(30);
    h.Tick();
    EXPECT_TRUE(Silent(*peer)) << "the full time-out is not yet too long";
    for (int retry = 1; retry <= 5; ++retry) {
        h.ExpireAndTick();
        EXPECT_EQ(peer->Receive(), data1) << "retry " << retry;
        EXPECT_TRUE(Silent(*writer)) << "a write repeats nothing";
        EXPECT_EQ(rows[1].columns[Col::kStatus], "Retrying");
        EXPECT_EQ(rows[2].columns[Col::kStatus], "Waiting ...");
    }
    h.ExpireAndTick();
    EXPECT_TRUE(Silent(*peer));
    EXPECT_EQ(h.app.ClientCount(), 0);
    EXPECT_EQ(rows[1].columns[Col::kResult], "TimedOut : Sending");
    EXPECT_EQ(rows[2].columns[Col::kResult], "TimedOut : Receiving");
    EXPECT_EQ(rows[2].columns[Col::kStatus], "Done");
    EXPECT_EQ(rows[2].itemData, CClientListModel::kFailed);
    EXPECT_TRUE(FileExists(h.out / "f")) << "only a finished read deletes its file";
    EXPECT_TRUE(std::filesystem::is_empty(h.in.Path())) << "nor is a timed-out upload left";

    WriteFile(h.out / "gone", "gone");
    WriteFile(h.out / "failed", "failed");
    EXPECT_EQ(peer->Exchange(h.port, tftp::Rrq("f")), data1);
    EXPECT_EQ(peer->Answer(tftp::Ack(1)), tftp::Data(2, content.substr(512)));
    peer->Reply(tftp::Ack(2));
    EXPECT_EQ(peer->Exchange(h.port, tftp::Rrq("gone")), tftp::Data(1, "gone"));
    peer->Reply(tftp::Ack(1));
    std::remove((h.out / "gone").c_str());
    ASSERT_TRUE(peer->Exchange(h.port, tftp::Rrq("failed")));
    peer->Reply(tftp::Error(2, ""));
    h.Pump();
    h.Tick();
    EXPECT_EQ(rows[3].columns[Col::kResult], "Finished : Sending (file deleted)");
    EXPECT_FALSE(FileExists(h.out / "f"));
    EXPECT_EQ(rows[4].columns[Col::kResult], "Finished : Sending (Error deleting file)");
    EXPECT_TRUE(FileExists(h.out / "failed")) << "nor does a read the client broke off";
    EXPECT_EQ(rows[3].itemData, CClientListModel::kRetired);

    // A good packet restores the retries, a stray one only delays them.
    content = PatternBytes(1500);
    WriteFile(h.out / "f", content);
    const std::string data2 = tftp::Data(2, content.substr(512, 512));
    ASSERT_TRUE(peer->Exchange(h.port, tftp::Rrq("f")));
    for (int retry = 0; retry < 3; ++retry) {
        h.ExpireAndTick();
        ASSERT_TRUE(peer->Receive());
    }
    EXPECT_EQ(peer->Answer(tftp::Ack(1)), data2);
    for (int retry = 0; retry < 5; ++retry) {
        h.ExpireAndTick();
        EXPECT_EQ(peer->Receive(), data2);
    }
    // A datagram too short to be a packet still shows that the client is alive.
    h.clock.Advance(20);
    peer->Reply(std::string("\x00\x04", 2));
    h.Pump();
    h.clock.Advance(15);
    h.Tick();
    EXPECT_EQ(h.app.ClientCount(), 1);
    h.clock.Advance(16);
    h.Tick();
    EXPECT_EQ(LastCell(h, Col::kResult), "TimedOut : Sending");

    // The timeout comes from the client's option, else from the setting.
    auto plain = h.NewPeer("127.0.0.2");
    const auto oack = peer->Exchange(h.port, tftp::Rrq("f", "octet", {{"timeout", "3"}}));
    ASSERT_TRUE(oack);
    const auto first = plain->Exchange(h.port, tftp::Rrq("f"));
    ASSERT_TRUE(first);

    // An unusable setting is replaced, and this pass still allows 30 seconds.
    h.app.Timeout = "abc";
    h.clock.Advance(20);
    h.Tick();
    EXPECT_EQ(h.app.Timeout, "10");
    EXPECT_EQ(peer->Receive(), oack) << "waiting for ACK 0, the OACK is what is repeated";
    EXPECT_TRUE(Silent(*plain));
    h.Tick();
    EXPECT_EQ(plain->Receive(), first);
    // The repeated OACK used up no file data.
    EXPECT_EQ(peer->Answer(tftp::Ack(0)), tftp::Data(1, content.substr(0, 512)));
}
