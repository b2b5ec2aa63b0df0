#include <gtest/gtest.h>

#include <QGuiApplication>
#include <QImage>
#include <QPalette>
#include <cstdlib>

#include "GuiServer.h"
#include "console/StatusBarGeometry.h"

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

// Pixels in the area near the ink: smoothing softens the edges of text.
int Inked(const QImage& image, const QRect& area, const QColor& ink) {
    int count = 0;
    for (int y = area.top(); y <= area.bottom(); ++y) {
        for (int x = area.left(); x <= area.right(); ++x) {
            const QColor c(image.pixel(x, y));
            count += std::abs(c.red() - ink.red()) < 60 && std::abs(c.green() - ink.green()) < 60 &&
                     std::abs(c.blue() - ink.blue()) < 60;
        }
    }
    return count;
}

}  // namespace

TEST(ClientRows, RowsTurnPlainRedOrYellowTheOldestLeaveAtTheLimitAndProgressShowsAsBarOrText) {
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

    s.Notify(STATUS_NEW_CLIENT, 800, "127.0.0.4");
    s.app.NotifyView(STATUS_DONE, 800);
    s.Notify(STATUS_TIMED_OUT, 800, "TimedOut : Sending");
    EXPECT_EQ(RowColour(m, 1), QColor(Qt::red));

    // A client whose end was never reported: the first idle tick sweeps its row yellow.
    s.Notify(STATUS_NEW_CLIENT, 900, "127.0.0.5");
    EXPECT_EQ(RowColour(m, 2), QColor(Qt::blue));
    s.View().OnTimer();
    EXPECT_EQ(RowColour(m, 2), QColor(Qt::yellow));

    // The row limit removes the oldest rows through the model, never by a reset.
    s.app.nMaxDisplayPos = 0;
    const int inserted = watch.inserted, removed = watch.removed;
    for (std::uint32_t serial = 1; serial <= 12; ++serial) {
        s.Notify(STATUS_NEW_CLIENT, serial, "10.0.0." + std::to_string(serial));
    }
    ASSERT_EQ(m.rowCount(), 6);
    EXPECT_EQ(watch.inserted - inserted, 12);
    EXPECT_EQ(watch.removed - removed, 9);
    EXPECT_EQ(watch.resets, 0);

    // Under Use Graphic the view paints a red frame and a blue bar, otherwise blue text.
    CNewView& view = s.View();
    view.setColumnWidth(Col::kStatus, 106);
    s.Notify(STATUS_NEW_CLIENT, 13, "127.0.0.1");
    s.app.m_Status.nPosition = 500;
    s.app.m_Status.nTotal = 1000;
    s.app.NotifyView(STATUS_PROGRESS, 13);
    ASSERT_EQ(Cell(m, 5, Col::kStatus), "%50, 500");

    s.frame->m_pUseGraphic->trigger();
    ASSERT_TRUE(view.UseGraphic());
    s.Pump();
    QImage shot = view.viewport()->grab().toImage();
    const QRect cell = view.visualRect(m.index(5, Col::kStatus));
    const int x = cell.left();
    const int mid = cell.center().y();
    const auto at = [&shot](int px, int py) { return QColor(shot.pixel(px, py)); };
    // The frame runs from x to x + w - 3; 50 % of 100 fills x + 2 to x + 48 inside it.
    EXPECT_EQ(at(x, mid), QColor(Qt::red));
    EXPECT_EQ(at(x + 103, mid), QColor(Qt::red));
    EXPECT_EQ(at(x + 50, cell.top()), QColor(Qt::red));
    EXPECT_NE(at(x + 1, mid), QColor(Qt::blue));
    EXPECT_EQ(at(x + 2, mid), QColor(Qt::blue));
    EXPECT_EQ(at(x + 48, mid), QColor(Qt::blue));
    EXPECT_NE(at(x + 49, mid), QColor(Qt::blue));

    s.frame->m_pUseGraphic->trigger();
    ASSERT_FALSE(view.UseGraphic());
    view.viewport()->update();
    s.Pump();
    shot = view.viewport()->grab().toImage();
    EXPECT_EQ(Inked(shot, cell, QColor(Qt::red)), 0);
    const int inked = Inked(shot, cell, QColor(Qt::blue));
    EXPECT_GT(inked, 0);
    EXPECT_LT(inked, 47 * (cell.height() - 2) / 2) << "text, not a bar";

    // 0 % draws as 1 %: on a cell of 406 the bar ends 4 pixels past x - 1.
    StatusBarGeometry g = StatusBarFor("%0, 0", true, 100, 406, 10, 26);
    ASSERT_TRUE(g.bDrawn && g.bHasBar);
    EXPECT_EQ(g.frame.right, 504);
    EXPECT_EQ(g.bar.right, 103);
    EXPECT_EQ(g.bar.top, 11);
    EXPECT_EQ(g.bar.bottom, 25);

    // All three digits of 100 count, and no more; (35 - 6) * 0.01 * 100 is cut just below 29.
    EXPECT_EQ(StatusPercent("%1000"), 100);
    EXPECT_EQ(StatusBarFor("%100, 1000", true, 0, 35, 0, 18).bar.right, 27);

    // A cell too narrow for a bar still gets its frame.
    g = StatusBarFor("%100, 10", true, 40, 6, 0, 18);
    EXPECT_TRUE(g.bDrawn);
    EXPECT_FALSE(g.bHasBar);
    EXPECT_EQ(g.frame.right, 44);

    EXPECT_FALSE(StatusBarFor("Retrying", true, 0, 80, 0, 18).bDrawn);
}
