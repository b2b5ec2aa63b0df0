#include <gtest/gtest.h>

#include <QAction>
#include <QTreeWidget>
#include <cstdlib>

#include "GuiServer.h"
#include "console/qt/IcmpReport.h"

TEST(IcmpReport, LoopbackPingFillsTheReportWhereARawSocketCanBeOpened) {
    GuiServer s;
    ASSERT_TRUE(s.Start());
    s.app.IcmpFlags = 0x0001 | 0x0010;  // echo reply and echo request
    s.View().OnInitialUpdate();
    s.frame->UpdateCommandUI();
    // Without the right to a raw socket there is no monitor, and the command says so.
    EXPECT_EQ(s.frame->m_pIcmpReport->isEnabled(), s.View().IcmpReport() != nullptr);
    if (s.View().IcmpReport() == nullptr) {
        GTEST_SKIP() << "no raw socket here (CAP_NET_RAW)";
    }
    ASSERT_EQ(std::system("ping -c 1 -W 5 127.0.0.1 > /dev/null"), 0);
    CIcmpReport& report = *s.View().IcmpReport();
    const QTreeWidget& list = *report.List();
    const auto rowOf = [&list](const QString& message) {
        const auto found = list.findItems(message, Qt::MatchExactly, 2);
        return found.isEmpty() || found[0]->text(0) != "127.0.0.1"
                   ? -1
                   : list.indexOfTopLevelItem(found[0]);
    };
    ASSERT_TRUE(PumpUntil([&] { return rowOf("Echo Reply") >= 0 && rowOf("Echo request") >= 0; }));
    // Newest first: the kernel's reply above the request it answers.
    EXPECT_LT(rowOf("Echo Reply"), rowOf("Echo request"));

    EXPECT_FALSE(report.isVisible());
    s.frame->m_pIcmpReport->trigger();
    EXPECT_TRUE(report.isVisible());
    s.frame->m_pIcmpReport->trigger();
    EXPECT_FALSE(report.isVisible());
}
