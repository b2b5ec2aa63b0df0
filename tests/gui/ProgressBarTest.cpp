#include <gtest/gtest.h>

#include <QImage>

#include "GuiServer.h"
#include "ModelWatch.h"
#include "console/StatusBarGeometry.h"

namespace {

using Col = CClientListModel::Column;

bool IsRed(const QColor& c) {
    return c.red() == 255 && c.green() == 0 && c.blue() == 0;
}
bool IsBlue(const QColor& c) {
    return c.red() == 0 && c.green() == 0 && c.blue() == 255;
}
// Text drawn in a colour leaves pixels near it, though smoothing softens the edges.
bool Tinted(const QColor& c, const QColor& ink) {
    return std::abs(c.red() - ink.red()) < 60 && std::abs(c.green() - ink.green()) < 60 &&
           std::abs(c.blue() - ink.blue()) < 60;
}

int CountPixels(const QImage& image, const QRect& area,
                const std::function<bool(const QColor&)>& test) {
    int count = 0;
    for (int y = area.top(); y <= area.bottom(); ++y) {
        for (int x = area.left(); x <= area.right(); ++x) {
            count += test(PixelAt(image, x, y)) ? 1 : 0;
        }
    }
    return count;
}

void SetProgress(GuiServer& s, std::uint32_t serial, std::int64_t position, std::int64_t total) {
    s.app.m_Status.nPosition = position;
    s.app.m_Status.nTotal = total;
    s.app.NotifyView(STATUS_PROGRESS, static_cast<std::int32_t>(serial));
}

}  // namespace

TEST(ProgressBar, GeometryFollowsThePercentageAndTheCellWidth) {
    // 0 % draws as 1 %: on a cell of 406 the bar is 4 pixels wide.
    StatusBarGeometry g = StatusBarFor("%0, 0", true, 100, 406, 10, 26);
    ASSERT_TRUE(g.bDrawn);
    EXPECT_EQ(StatusPercent("%0, 0"), 1);
    EXPECT_EQ(g.frame.left, 100);
    EXPECT_EQ(g.frame.top, 10);
    EXPECT_EQ(g.frame.right, 504);
    EXPECT_EQ(g.frame.bottom, 26);
    ASSERT_TRUE(g.bHasBar);
    EXPECT_EQ(g.bar.left, 102);
    EXPECT_EQ(g.bar.top, 11);
    EXPECT_EQ(g.bar.bottom, 25);
    EXPECT_EQ(g.bar.right, 103);

    // All three digits of 100 count, and no more; the product is cut as (w - 6) * 0.01 * p,
    // which for 29 * 0.01 * 100 lies just below 29.
    EXPECT_EQ(StatusPercent("%100, 1000"), 100);
    EXPECT_EQ(StatusPercent("%1000"), 100);
    EXPECT_EQ(StatusPercent("%7x"), 7);
    g = StatusBarFor("%100, 1000", true, 0, 35, 0, 18);
    ASSERT_TRUE(g.bHasBar);
    EXPECT_EQ(g.bar.right, 27);

    // A bar whose end falls on or before its start is not drawn; the frame still is.
    g = StatusBarFor("%1, 5", true, 0, 80, 0, 18);
    EXPECT_TRUE(g.bDrawn);
    EXPECT_FALSE(g.bHasBar);

    // Narrow cells: frame only.
    for (int w : {6, 5, 2}) {
        g = StatusBarFor("%100, 10", true, 40, w, 0, 18);
        EXPECT_TRUE(g.bDrawn) << w;
        EXPECT_FALSE(g.bHasBar) << w;
        EXPECT_EQ(g.frame.right, 40 + w - 2) << w;
    }

    // Anything but a figure, or the graphic off, is text.
    EXPECT_FALSE(StatusBarFor("Retrying", true, 0, 80, 0, 18).bDrawn);
    EXPECT_FALSE(StatusBarFor("", true, 0, 80, 0, 18).bDrawn);
    EXPECT_FALSE(StatusBarFor("%50, 10", false, 0, 80, 0, 18).bDrawn);
}

TEST(ProgressBar, TheViewPaintsARedFrameAndABlueBarUnderUseGraphicAndTextOtherwise) {
    GuiServer s;
    ASSERT_TRUE(s.Start());
    CNewView& view = s.View();
    view.setColumnWidth(Col::kStatus, 106);
    s.NewClient(5, "127.0.0.1");
    SetProgress(s, 5, 500, 1000);
    s.NewClient(6, "127.0.0.2");
    s.app.m_Status.text = "Retrying";
    s.app.m_Status.nTotal = 0;
    s.app.NotifyView(STATUS_RETRY, 6);
    s.NewClient(7, "127.0.0.3");
    s.app.m_Status.text = "TimedOut : Sending";
    s.app.NotifyView(STATUS_TIMED_OUT, 7);
    ASSERT_EQ(s.Model().rowCount(), 3);
    ASSERT_EQ(Cell(s.Model(), 0, Col::kStatus), "%50, 500");

    s.frame->m_pUseGraphic->trigger();
    ASSERT_TRUE(view.UseGraphic());
    EXPECT_EQ(s.app.bUseGraphic, 1u);
    EXPECT_TRUE(s.frame->m_pUseGraphic->isChecked());
    s.Pump();
    QImage shot = view.viewport()->grab().toImage();

    const QRect cell = view.visualRect(s.Model().index(0, Col::kStatus));
    ASSERT_EQ(cell.width(), 106);
    const int x = cell.left();
    const int top = cell.top();
    const int bottom = cell.bottom();  // the row's last line of pixels
    const int mid = (top + bottom) / 2;
    // The frame runs from x to x + w - 3 and over the row's first and last lines.
    EXPECT_TRUE(IsRed(PixelAt(shot, x, mid)));
    EXPECT_TRUE(IsRed(PixelAt(shot, x + 103, mid)));
    EXPECT_FALSE(IsRed(PixelAt(shot, x + 104, mid)));
    EXPECT_TRUE(IsRed(PixelAt(shot, x + 50, top)));
    EXPECT_TRUE(IsRed(PixelAt(shot, x + 50, bottom)));
    // 50 % of 100: the bar fills x + 2 to x + 48, one line inside the frame at top and bottom.
    EXPECT_FALSE(IsBlue(PixelAt(shot, x + 1, mid)));
    EXPECT_TRUE(IsBlue(PixelAt(shot, x + 2, mid)));
    EXPECT_TRUE(IsBlue(PixelAt(shot, x + 48, mid)));
    EXPECT_FALSE(IsBlue(PixelAt(shot, x + 49, mid)));
    EXPECT_TRUE(IsBlue(PixelAt(shot, x + 20, top + 1)));
    EXPECT_TRUE(IsBlue(PixelAt(shot, x + 20, bottom - 1)));
    // Nothing of the frame spills into the next row.
    const QRect below = view.visualRect(s.Model().index(1, Col::kStatus));
    EXPECT_EQ(below.top(), bottom + 1);
    EXPECT_FALSE(IsRed(PixelAt(shot, x + 50, below.top())));

    // A status that is no figure shows as text in the row's colour, graphic or not.
    EXPECT_EQ(CountPixels(shot, below, IsRed), 0);
    EXPECT_GT(CountPixels(shot, below, [](const QColor& c) { return Tinted(c, kBlue); }), 0);
    // Every column takes the row's colour: the failed row's client is red text.
    const QRect failedClient = view.visualRect(s.Model().index(2, Col::kClient));
    EXPECT_GT(CountPixels(shot, failedClient, [](const QColor& c) { return Tinted(c, kRed); }), 0);
    EXPECT_EQ(CountPixels(shot, failedClient, [](const QColor& c) { return Tinted(c, kBlue); }), 0);

    // Without the graphic the figures are text, in blue.
    s.frame->m_pUseGraphic->trigger();
    ASSERT_FALSE(view.UseGraphic());
    EXPECT_EQ(s.app.bUseGraphic, 0u);
    EXPECT_FALSE(s.frame->m_pUseGraphic->isChecked());
    view.viewport()->update();
    s.Pump();
    shot = view.viewport()->grab().toImage();
    EXPECT_EQ(CountPixels(shot, cell, IsRed), 0);
    const int inked = CountPixels(shot, cell, [](const QColor& c) { return Tinted(c, kBlue); });
    EXPECT_GT(inked, 0);
    EXPECT_LT(inked, 47 * (cell.height() - 2) / 2) << "text, not a bar";
}
