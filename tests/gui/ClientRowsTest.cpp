#include <gtest/gtest.h>

#include <QGuiApplication>
#include <QPalette>

#include "GuiServer.h"

namespace {

using Col = CClientListModel::Column;

// Counts what a Qt model announces, so that a view bound to it can be trusted to follow.
struct ModelWatch {
    explicit ModelWatch(QAbstractItemModel& model) {
        const auto count = [](int& rows) {
            return [&rows](const QModelIndex&, int first, int last) { rows += last - first + 1; };
        };
        QObject::connect(&model, &QAbstractItemModel::rowsInserted, &context, count(inserted));
        QObject::connect(&model, &QAbstractItemModel::rowsRemoved, &context, count(removed));
        QObject::connect(&model, &QAbstractItemModel::modelReset, &context, [this] { ++resets; });
        QObject::connect(&model, &QAbstractItemModel::dataChanged, &context, [this] { ++changes; });
    }

    int inserted = 0, removed = 0, resets = 0, changes = 0;
    QObject context;
};

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
    EXPECT_EQ(RowColour(m, 0), QColor(Qt::blue));
    // Each ACK reports the bytes read so far, the next block included.
    peer->Reply(tftp::Ack(1));
    ASSERT_TRUE(peer->Receive());
    EXPECT_EQ(Cell(m, 0, Col::kStatus), "%78, 1024");
    peer->Reply(tftp::Ack(2));
    ASSERT_TRUE(peer->Receive());
    peer->Reply(tftp::Ack(3));
    EXPECT_FALSE(peer->Receive(100)) << "the transfer is over";
    EXPECT_EQ(RowColour(m, 0), QColor(Qt::blue)) << "running until the tick";
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
    EXPECT_EQ(RowColour(m, 1), QColor(Qt::red));

    // A client whose end was never reported: the first idle tick sweeps its row yellow.
    s.NewClient(900, "127.0.0.5");
    EXPECT_EQ(RowColour(m, 2), QColor(Qt::blue));
    s.View().OnTimer();
    EXPECT_EQ(RowColour(m, 2), QColor(Qt::yellow));
}

TEST(ClientRows, TheRowLimitRemovesTheOldestRowsThroughTheModel) {
    GuiServer s;
    s.app.nMaxDisplayPos = 0;
    ASSERT_TRUE(s.Start());
    ClientListItemModel& m = s.Model();
    ModelWatch watch(m);
    for (std::uint32_t serial = 1; serial <= 12; ++serial) {
        s.NewClient(serial, "10.0.0." + std::to_string(serial));
    }
    ASSERT_EQ(m.rowCount(), 6);
    EXPECT_EQ(watch.inserted, 12);
    EXPECT_EQ(watch.removed, 6);
    EXPECT_EQ(watch.resets, 0);
}
