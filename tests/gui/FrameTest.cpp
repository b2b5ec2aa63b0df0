#include <gtest/gtest.h>

#include <QApplication>
#include <QLabel>
#include <QMenuBar>
#include <QStatusBar>
#include <QSystemTrayIcon>
#include <QTabWidget>
#include <QTimer>
#include <algorithm>

#include "GuiServer.h"
#include "console/qt/About.h"

TEST(MainFrame, CommandsFollowServingTheTitleFollowsThePortAndAboutOpensOnce) {
    GuiServer s;
    ASSERT_TRUE(s.Start());
    CMainFrame& f = *s.frame;
    const auto stopAndStart = [&f] {
        return std::pair{f.m_pStopServing->isEnabled(), f.m_pStartServing->isEnabled()};
    };
    EXPECT_EQ(stopAndStart(), std::pair(true, false));
    // Without clients, Stop asks nothing: only the enable states change.
    f.m_pStopServing->trigger();
    EXPECT_EQ(stopAndStart(), std::pair(false, true));
    f.m_pStartServing->trigger();
    EXPECT_EQ(stopAndStart(), std::pair(true, false));
    // A change made behind the window's back shows when a menu opens.
    s.app.OnStopServing();
    emit f.menuBar()->actions()[0]->menu()->aboutToShow();
    EXPECT_EQ(stopAndStart(), std::pair(false, true));

    const QList<QLabel*> labels = f.statusBar()->findChildren<QLabel*>();
    EXPECT_TRUE(std::any_of(labels.begin(), labels.end(), [](const QLabel* label) {
        return label->isVisible() && label->text() == "For Help, press F1, press F12 for Music :)";
    }));

    EXPECT_EQ(f.windowTitle(), QString("Quaylon - 127.0.0.1.%1").arg(s.port));
    const std::uint16_t second = FreeUdpPort();
    s.app.Port = std::to_string(second);
    s.app.PortChanged();
    EXPECT_EQ(f.windowTitle(), QString("Quaylon - 127.0.0.1.%1").arg(second));

    // About opens on the version page; a second command neither makes another sheet nor turns
    // this one's page.
    f.m_pAboutAction->trigger();
    QPointer<CAbout> sheet = f.About();
    ASSERT_TRUE(sheet && sheet->isVisible());
    QTabWidget* pages = sheet->Pages();
    EXPECT_EQ(pages->tabText(pages->currentIndex()), "Version");
    pages->setCurrentIndex(0);
    f.m_pAboutAction->trigger();
    EXPECT_EQ(f.About(), sheet.data());
    EXPECT_EQ(pages->currentIndex(), 0);
}

TEST(TrayIcon, FallbackShowAndClose) {
    GuiServer s;
    ASSERT_TRUE(s.Start());
    // Without a tray to sit in, the option turns itself off and the window stays.
    const bool bTray = QSystemTrayIcon::isSystemTrayAvailable();
    s.app.bUseTaskbar = 1;
    s.frame->InstallTrayIcon();
    EXPECT_EQ(s.app.bUseTaskbar != 0, bTray);
    EXPECT_EQ(s.frame->TrayIconShown(), bTray);
    EXPECT_EQ(s.frame->isVisible(), !bTray);
    const QList<QAction*> items = s.frame->TrayMenu()->actions();
    ASSERT_EQ(items.size(), 2);
    ASSERT_EQ(items[0]->text() + "," + items[1]->text(), "Show,Close");

    s.frame->showMinimized();
    s.frame->hide();
    s.Pump();
    items[0]->trigger();
    s.Pump();
    EXPECT_TRUE(s.frame->isVisible());
    EXPECT_FALSE(s.frame->isMinimized());
    EXPECT_FALSE(s.frame->TrayIconShown());

    // Close ends the program's loop at once and leaves the rows out of the log.
    s.NewClient(4, "10.0.0.4");
    QTimer::singleShot(0, items[1], &QAction::trigger);
    QObject guard;
    QTimer::singleShot(5000, &guard, [] { QApplication::exit(2); });
    EXPECT_EQ(QApplication::exec(), 0);
    EXPECT_FALSE(s.frame->isVisible());
    EXPECT_FALSE(FileExists(s.app.LogFile));
}
