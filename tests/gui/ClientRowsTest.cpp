#include <gtest/gtest.h>

#include <QGuiApplication>
#include <QHeaderView>
#include <QPalette>
#include <sstream>

#include "GuiServer.h"
#include "ModelWatch.h"

namespace {

using Col = CClientListModel::Column;

QColor WindowText() {
    return QGuiApplication::palette().color(QPalette::WindowText);
}

std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    return lines;
}

// The rows the tree view itself has laid out, which follow only what the model announced.
int RowsShown(const CNewView& view) {
    int count = 0;
    for (QModelIndex row = view.model()->index(0, 0); row.isValid(); row = view.indexBelow(row)) {
        ++count;
    }
    return count;
}

}  // namespace

TEST(ClientRows, ATransferShowsABlueRowWithProgressThatRetiresAtTheTick) {
    GuiServer s;
    ASSERT_TRUE(s.Start());
    ClientListItemModel& m = s.Model();
    ModelWatch watch(m);
    WriteFile(s.out / "three.bin", PatternBytes(1300));
    auto peer = s.NewPeer();

    auto first = peer->Exchange(s.port, tftp::Rrq("three.bin"));
    ASSERT_TRUE(first);
    ASSERT_EQ(tftp::Number(*first), 1);
    ASSERT_EQ(m.rowCount(), 1);
    EXPECT_EQ(watch.inserted, 1);
    EXPECT_EQ(Cell(m, 0, Col::kClient), "127.0.0.1");
    EXPECT_EQ(Cell(m, 0, Col::kFile), QString::fromStdString(s.out / "three.bin"));
    EXPECT_FALSE(Cell(m, 0, Col::kStart).isEmpty());
    EXPECT_TRUE(Cell(m, 0, Col::kFinish).isEmpty());
    EXPECT_EQ(RowColour(m, 0), kBlue);
    EXPECT_EQ(RowColour(m, 0, Col::kResult), kBlue);

    // Each ACK reports the bytes read so far, the next block included.
    peer->Reply(tftp::Ack(1));
    ASSERT_TRUE(peer->Receive());
    EXPECT_EQ(Cell(m, 0, Col::kStatus), "%78, 1024");
    peer->Reply(tftp::Ack(2));
    auto last = peer->Receive();
    ASSERT_TRUE(last);
    EXPECT_EQ(tftp::Payload(*last).size(), 276u);
    EXPECT_EQ(Cell(m, 0, Col::kStatus), "%100, 1300");
    peer->Reply(tftp::Ack(3));
    EXPECT_FALSE(peer->Receive(100)) << "the transfer is over";
    // The last ACK ends the transfer, but the row stays running until the tick.
    EXPECT_EQ(RowColour(m, 0), kBlue);
    EXPECT_EQ(s.app.ClientCount(), 1);
    // Gathered changes reach Qt's views on their own, without waiting for the tick.
    EXPECT_TRUE(PumpUntil([&] { return watch.changes > 0; }));

    const int changesBefore = watch.changes;
    s.View().OnTimer();
    EXPECT_EQ(Cell(m, 0, Col::kStatus), "Done");
    EXPECT_FALSE(Cell(m, 0, Col::kFinish).isEmpty());
    EXPECT_EQ(Cell(m, 0, Col::kResult), "Finished : Sending");
    EXPECT_EQ(RowKey(m, 0), 0);
    EXPECT_EQ(RowColour(m, 0), WindowText());
    EXPECT_EQ(RowColour(m, 0, Col::kStatus), WindowText());
    // The tick tells the Qt views at once, whatever the repaint interval.
    EXPECT_GT(watch.changes, changesBefore);
    EXPECT_LE(watch.firstChanged, 0);
    EXPECT_GE(watch.lastChanged, 0);
    EXPECT_EQ(watch.resets, 0);
}

TEST(ClientRows, ASilentClientRetriesTimesOutRedAndAVanishedOneIsSweptYellow) {
    GuiServer s;
    ASSERT_TRUE(s.Start());
    ClientListItemModel& m = s.Model();
    auto peer = s.HangingRead();
    ASSERT_TRUE(peer);

    s.ExpireAndTick();
    EXPECT_EQ(Cell(m, 0, Col::kStatus), "Retrying");
    EXPECT_EQ(RowColour(m, 0), kBlue);
    for (int i = 0; i < 8 && s.app.ClientCount() != 0; ++i) {
        s.ExpireAndTick();
    }
    ASSERT_EQ(s.app.ClientCount(), 0);
    EXPECT_EQ(Cell(m, 0, Col::kStatus), "Done");
    EXPECT_EQ(Cell(m, 0, Col::kResult), "TimedOut : Sending");
    EXPECT_EQ(RowKey(m, 0), CClientListModel::kFailed);
    EXPECT_EQ(RowColour(m, 0), kRed);

    // A client whose end was never reported: the first idle tick sweeps its row.
    s.NewClient(900, "127.0.0.5");
    ASSERT_EQ(m.rowCount(), 2);
    EXPECT_EQ(RowColour(m, 1), kBlue);
    s.View().OnTimer();
    EXPECT_EQ(Cell(m, 1, Col::kStatus), "Done");
    EXPECT_FALSE(Cell(m, 1, Col::kFinish).isEmpty());
    EXPECT_EQ(RowKey(m, 1), CClientListModel::kSwept);
    EXPECT_EQ(RowColour(m, 1), kYellow);
    EXPECT_EQ(RowColour(m, 0), kRed) << "a retired row is not swept";
}

TEST(ClientRows, TheFirstUpdatePlacesTheFrameAndAddsTheRedBannerRow) {
    GuiServer s;
    ASSERT_TRUE(s.Start());
    SaveWindowPlacement(10, 20, 1210, 620, 0, 200, 100, 70, 95, 96, 120);
    CNewView& view = s.View();
    view.OnInitialUpdate();
    s.Pump();

    EXPECT_EQ(s.frame->pos(), QPoint(10, 20));
    EXPECT_EQ(s.frame->size(), QSize(1200, 600));
    const int stored[] = {200, 100, 70, 95, 96};
    int used = 0;
    for (int column = 0; column < 5; ++column) {
        EXPECT_EQ(view.columnWidth(column), stored[column]) << column;
        used += stored[column];
    }
    // The last column takes the rest of the width.
    EXPECT_EQ(view.columnWidth(Col::kResult), view.viewport()->width() - used);
    EXPECT_TRUE(view.TimerActive());

    ClientListItemModel& m = s.Model();
    ASSERT_EQ(m.rowCount(), 1);
    EXPECT_EQ(Cell(m, 0, Col::kClient), "Quaylon V3.80");
    EXPECT_EQ(Cell(m, 0, Col::kResult), "Ready");
    EXPECT_FALSE(Cell(m, 0, Col::kStart).isEmpty());
    for (Col empty : {Col::kFile, Col::kStatus, Col::kFinish}) {
        EXPECT_TRUE(Cell(m, 0, empty).isEmpty()) << empty;
    }
    EXPECT_EQ(RowColour(m, 0), kRed);
    const char* const headings[] = {"Client", "File", "Status", "Start", "Finish", "Result"};
    for (int column = 0; column < 6; ++column) {
        EXPECT_EQ(m.headerData(column, Qt::Horizontal, Qt::DisplayRole).toString(),
                  headings[column]);
    }

    // A stored top of 2900 keeps the frame where it is; the banner comes once per run.
    SaveWindowPlacement(300, 2900, 1300, 3500, 0, 200, 100, 70, 95, 96, 120);
    view.OnInitialUpdate();
    EXPECT_EQ(s.frame->pos(), QPoint(10, 20));
    EXPECT_EQ(m.rowCount(), 1);
}

TEST(ClientRows, TheRowLimitKeepsLimitPlusOneRowsAndLeavesTheColumnWidths) {
    GuiServer s;
    s.app.nMaxDisplayPos = 0;
    ASSERT_TRUE(s.Start());
    CNewView& view = s.View();
    const int widths[] = {140, 110, 75, 85, 85, 150};
    for (int column = 0; column < 6; ++column) {
        view.setColumnWidth(column, widths[column]);
    }
    ClientListItemModel& m = s.Model();
    ModelWatch watch(m);

    for (std::uint32_t serial = 1; serial <= 12; ++serial) {
        s.NewClient(serial, "10.0.0." + std::to_string(serial));
        EXPECT_LE(m.rowCount(), 6);
        EXPECT_EQ(RowsShown(view), m.rowCount());
    }
    ASSERT_EQ(m.rowCount(), 6);
    EXPECT_EQ(Cell(m, 0, Col::kClient), "10.0.0.7");
    EXPECT_EQ(Cell(m, 5, Col::kClient), "10.0.0.12");
    EXPECT_EQ(watch.inserted, 12);
    EXPECT_EQ(watch.removed, 6);
    EXPECT_EQ(watch.resets, 0);
    EXPECT_EQ(view.header()->count(), 6);
    for (int column = 0; column < 6; ++column) {
        EXPECT_EQ(view.columnWidth(column), widths[column]) << column;
    }
    // Clear Display empties the list through the log.
    s.frame->m_pClearDisplay->trigger();
    EXPECT_EQ(m.rowCount(), 0);
    EXPECT_EQ(RowsShown(view), 0);
    EXPECT_EQ(Lines(ReadFile(s.app.LogFile)).size(), 12u);
}
