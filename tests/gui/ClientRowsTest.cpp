#include <gtest/gtest.h>

#include <QGuiApplication>
#include <QPalette>

#include "GuiServer.h"
#include "ModelWatch.h"

namespace {

using Col = CClientListModel::Column;

// The rows the tree view itself has laid out, which follow only what the model announced.
int RowsShown(const CNewView& view) {
    int count = 0;
    for (QModelIndex row = view.model()->index(0, 0); row.isValid(); row = view.indexBelow(row)) {
        ++count;
    }
    return count;
}

}  // namespace

TEST(ClientRows, RowsTurnFromBlueToPlainRedOrYellowAsTheirClientsEnd) {
    GuiServer s;
    ASSERT_TRUE(s.Start());
    ClientListItemModel& m = s.Model();
    ModelWatch watch(m);
    WriteFile(s.out / "three.bin", PatternBytes(1300));
    auto peer = s.NewPeer();

    ASSERT_TRUE(peer->Exchange(s.port, tftp::Rrq("three.bin")));
    ASSERT_EQ(m.rowCount(), 1);
    EXPECT_EQ(watch.inserted, 1);
    EXPECT_EQ(Cell(m, 0, Col::kClient), "127.0.0.1");
    EXPECT_EQ(RowColour(m, 0), kBlue);
    // Each ACK reports the bytes read so far, the next block included.
    peer->Reply(tftp::Ack(1));
    ASSERT_TRUE(peer->Receive());
    EXPECT_EQ(Cell(m, 0, Col::kStatus), "%78, 1024");
    peer->Reply(tftp::Ack(2));
    ASSERT_TRUE(peer->Receive());
    peer->Reply(tftp::Ack(3));
    EXPECT_FALSE(peer->Receive(100)) << "the transfer is over";
    EXPECT_EQ(RowColour(m, 0), kBlue) << "running until the tick";
    // Gathered changes reach Qt's views on their own, without waiting for the tick.
    EXPECT_TRUE(PumpUntil([&] { return watch.changes > 0; }));

    // The tick tells the Qt views at once, whatever the repaint interval.
    const int changesBefore = watch.changes;
    s.View().OnTimer();
    EXPECT_GT(watch.changes, changesBefore);
    EXPECT_EQ(Cell(m, 0, Col::kResult), "Finished : Sending");
    EXPECT_EQ(RowColour(m, 0), QGuiApplication::palette().color(QPalette::WindowText));

    // A client that never answers retries, then times out red.
    auto silent = s.HangingRead();
    ASSERT_TRUE(silent);
    ASSERT_EQ(m.rowCount(), 2);
    for (int i = 0; i < 8 && s.app.ClientCount() != 0; ++i) {
        s.clock.Advance(31);
        s.View().OnTimer();
    }
    ASSERT_EQ(s.app.ClientCount(), 0);
    EXPECT_EQ(Cell(m, 1, Col::kResult), "TimedOut : Sending");
    EXPECT_EQ(RowColour(m, 1), kRed);

    // A client whose end was never reported: the first idle tick sweeps its row yellow.
    s.NewClient(900, "127.0.0.5");
    EXPECT_EQ(RowColour(m, 2), kBlue);
    s.View().OnTimer();
    EXPECT_EQ(RowColour(m, 2), kYellow);
    EXPECT_EQ(RowColour(m, 1), kRed) << "a retired row is not swept";
    EXPECT_EQ(watch.resets, 0);
}

TEST(ClientRows, TheRowLimitRemovesTheOldestRowsThroughTheModel) {
    GuiServer s;
    s.app.nMaxDisplayPos = 0;
    ASSERT_TRUE(s.Start());
    ClientListItemModel& m = s.Model();
    ModelWatch watch(m);

    for (std::uint32_t serial = 1; serial <= 12; ++serial) {
        s.NewClient(serial, "10.0.0." + std::to_string(serial));
        EXPECT_EQ(RowsShown(s.View()), m.rowCount());
    }
    ASSERT_EQ(m.rowCount(), 6);
    EXPECT_EQ(Cell(m, 0, Col::kClient), "10.0.0.7");
    EXPECT_EQ(Cell(m, 5, Col::kClient), "10.0.0.12");
    EXPECT_EQ(watch.inserted, 12);
    EXPECT_EQ(watch.removed, 6);
    EXPECT_EQ(watch.resets, 0);
}
