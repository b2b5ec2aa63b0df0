#include <gtest/gtest.h>

#include <QImage>
#include <cstdlib>

#include "GuiServer.h"
#include "console/StatusBarGeometry.h"

namespace {

using Col = CClientListModel::Column;

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

TEST(ProgressBar, GeometryFollowsThePercentageAndTheCellWidth) {
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

TEST(ProgressBar, TheViewPaintsARedFrameAndABlueBarUnderUseGraphicAndTextOtherwise) {
    GuiServer s;
    ASSERT_TRUE(s.Start());
    CNewView& view = s.View();
    view.setColumnWidth(Col::kStatus, 106);
    s.NewClient(5, "127.0.0.1");
    s.app.m_Status.nPosition = 500;
    s.app.m_Status.nTotal = 1000;
    s.app.NotifyView(STATUS_PROGRESS, 5);
    ASSERT_EQ(Cell(s.Model(), 0, Col::kStatus), "%50, 500");

    s.frame->m_pUseGraphic->trigger();
    ASSERT_TRUE(view.UseGraphic());
    s.Pump();
    QImage shot = view.viewport()->grab().toImage();
    const QRect cell = view.visualRect(s.Model().index(0, Col::kStatus));
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

    // Without the graphic the figures are text, in blue.
    s.frame->m_pUseGraphic->trigger();
    ASSERT_FALSE(view.UseGraphic());
    view.viewport()->update();
    s.Pump();
    shot = view.viewport()->grab().toImage();
    EXPECT_EQ(Inked(shot, cell, QColor(Qt::red)), 0);
    const int inked = Inked(shot, cell, QColor(Qt::blue));
    EXPECT_GT(inked, 0);
    EXPECT_LT(inked, 47 * (cell.height() - 2) / 2) << "text, not a bar";
}
