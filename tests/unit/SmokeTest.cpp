#include <gtest/gtest.h>

#include "support/ServerHarness.h"

TEST(Smoke, ReadsAFileThroughTheCore) {
    ServerHarness h;
    WriteFile(h.out / "a.bin", PatternBytes(700));
    ASSERT_TRUE(h.Start());
    auto peer = h.NewPeer();
    auto data1 = peer->Exchange(h.port, tftp::Rrq("a.bin"));
    ASSERT_TRUE(data1);
    EXPECT_EQ(tftp::Opcode(*data1), 3);
    EXPECT_EQ(tftp::Payload(*data1).size(), 512u);
    peer->Reply(tftp::Ack(1));
    auto data2 = peer->Receive();
    ASSERT_TRUE(data2);
    EXPECT_EQ(tftp::Payload(*data2).size(), 188u);
    peer->Reply(tftp::Ack(2));
    h.Pump();
    h.Tick();
    const auto& rows = h.model.Rows();
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[1].columns[CClientListModel::kResult], "Finished : Sending");
}
