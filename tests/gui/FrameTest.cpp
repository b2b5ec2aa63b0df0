#include <gtest/gtest.h>

#include <QApplication>
#include <QLabel>
#include <QMenuBar>
#include <QStatusBar>
#include <QSystemTrayIcon>
#include <QTabWidget>
#include <QTimer>

#include "GuiServer.h"
#include "console/qt/About.h"

TEST(MainFrame, ServingCommandsTitleAndIdleText) {
    GuiServer s;
    ASSERT_TRUE(s.Start());
    CMainFrame& f = *s.frame;
    EXPECT_TRUE(f.m_pStopServing->isEnabled());
    EXPECT_FALSE(f.m_pStartServing->isEnabled());
    // Without clients, Stop asks nothing: only the enable states change.
    f.m_pStopServing->trigger();
    EXPECT_EQ(s.app.m_bServing, 0);
    EXPECT_FALSE(f.m_pStopServing->isEnabled());
    EXPECT_TRUE(f.m_pStartServing->isEnabled());
    f.m_pStartServing->trigger();
    EXPECT_EQ(s.app.m_bServing, 1);
    EXPECT_TRUE(f.m_pStopServing->isEnabled());
    EXPECT_FALSE(f.m_pStartServing->isEnabled());
    // A change made behind the window's back shows when a menu opens.
    s.app.OnStopServing();
    emit f.menuBar()->actions()[0]->menu()->aboutToShow();
    EXPECT_FALSE(f.m_pStopServing->isEnabled());
    EXPECT_TRUE(f.m_pStartServing->isEnabled());

    bool bIdleShown = false;
    for (const QLabel* label : f.statusBar()->findChildren<QLabel*>()) {
        bIdleShown |=
            label->isVisible() && label->text() == "For Help, press F1, press F12 for Music :)";
    }
    EXPECT_TRUE(bIdleShown);

    EXPECT_EQ(f.windowTitle(), QString("Quaylon - 127.0.0.1.%1").arg(s.port));
    const std::uint16_t second = FreeUdpPort();
    s.app.Port = std::to_string(second);
    s.app.PortChanged();
    EXPECT_EQ(f.windowTitle(), QString("Quaylon - 127.0.0.1.%1").arg(second));
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
    QMenu* popup = s.frame->TrayMenu();
    ASSERT_EQ(popup->actions().size(), 2);
    QAction* show = popup->actions()[0];
    QAction* close = popup->actions()[1];
    ASSERT_EQ(show->text(), "Show");
    ASSERT_EQ(close->text(), "Close");

    s.frame->showMinimized();
    s.frame->hide();
    s.Pump();
    show->trigger();
    s.Pump();
    EXPECT_TRUE(s.frame->isVisible());
    EXPECT_FALSE(s.frame->isMinimized());
    EXPECT_FALSE(s.frame->TrayIconShown());

    // Close ends the program's loop at once and leaves the rows out of the log.
    s.NewClient(4, "10.0.0.4");
    QTimer::singleShot(0, close, &QAction::trigger);
    QTimer guard;
    QObject::connect(&guard, &QTimer::timeout, [] { QApplication::exit(2); });
    guard.start(5000);
    EXPECT_EQ(QApplication::exec(), 0);
    EXPECT_FALSE(s.frame->isVisible());
    EXPECT_FALSE(FileExists(s.app.LogFile));
}

TEST(AboutSheet, OpensOnceOnTheVersionPage) {
    GuiServer s;
    ASSERT_TRUE(s.Start());
    s.frame->m_pAboutAction->trigger();
    QPointer<CAbout> sheet = s.frame->About();
    ASSERT_TRUE(sheet);
    EXPECT_TRUE(sheet->isVisible());
    QTabWidget* pages = sheet->Pages();
    EXPECT_EQ(pages->tabText(pages->currentIndex()), "Version");

    // A second command neither makes another sheet nor turns this one's page.
    pages->setCurrentIndex(0);
    s.frame->m_pAboutAction->trigger();
    EXPECT_EQ(s.frame->About(), sheet.data());
    int sheets = 0;
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        sheets += qobject_cast<CAbout*>(widget) != nullptr;
    }
    EXPECT_EQ(sheets, 1);
    EXPECT_EQ(pages->currentIndex(), 0);
}
