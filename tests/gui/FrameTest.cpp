#include <gtest/gtest.h>

#include <QApplication>
#include <QDialogButtonBox>
#include <QKeyEvent>
#include <QLabel>
#include <QMenuBar>
#include <QPushButton>
#include <QStatusBar>
#include <QSystemTrayIcon>
#include <QTabWidget>
#include <QTimer>
#include <QToolBar>
#include <set>

#include "GuiServer.h"
#include "ModelWatch.h"
#include "console/qt/About.h"

namespace {

const std::string kRefusal("\x00\x05\x00\x00Service not available\x00\x00", 27);

// A menu as its entries read, "-" for a separator.
std::vector<QString> Entries(const QMenu* menu) {
    std::vector<QString> entries;
    for (const QAction* action : menu->actions()) {
        entries.push_back(action->isSeparator() ? "-" : action->text());
    }
    return entries;
}

std::vector<CAbout*> OpenAboutSheets() {
    std::vector<CAbout*> sheets;
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        if (auto* sheet = qobject_cast<CAbout*>(widget)) {
            sheets.push_back(sheet);
        }
    }
    return sheets;
}

QStringList Labels(const QWidget* page) {
    QStringList texts;
    for (const QLabel* label : page->findChildren<QLabel*>()) {
        texts << label->text();
    }
    return texts;
}

}  // namespace

TEST(MainFrame, MenusCarryTheirMnemonicsAndShortcuts) {
    GuiServer s;
    ASSERT_TRUE(s.Start());
    const QList<QAction*> menus = s.frame->menuBar()->actions();
    ASSERT_EQ(menus.size(), 4);
    std::vector<QString> titles;
    for (const QAction* menu : menus) {
        titles.push_back(menu->text());
    }
    EXPECT_EQ(titles, (std::vector<QString>{"&File", "System", "&View", "&Help"}));
    EXPECT_EQ(Entries(menus[0]->menu()),
              (std::vector<QString>{"&Stop Serving", "S&tart Serving", "-", "E&xit"}));
    EXPECT_EQ(Entries(menus[1]->menu()), (std::vector<QString>{"Set&up", "-", "&Info"}));
    EXPECT_EQ(Entries(menus[2]->menu()),
              (std::vector<QString>{"&Toolbar", "&Status Bar", "-", "&Clear Display", "-",
                                    "&Use Graphic ", "-", "&ICMP Report"}));
    EXPECT_EQ(Entries(menus[3]->menu()),
              (std::vector<QString>{"&Help Topics", "-", "&About Quaylon ...", "-",
                                    "&Check Version ...", "-", "Reset Co&lumns", "-", "&Music"}));

    const CMainFrame& f = *s.frame;
    const std::pair<QAction*, const char*> keys[] = {
        {f.m_pStopServing, "Ctrl+S"},   {f.m_pStartServing, "Ctrl+G"}, {f.m_pExit, "Alt+F4"},
        {f.m_pSetup, "Ctrl+U"},         {f.m_pAboutAction, "Ctrl+A"},  {f.m_pHelpTopics, "F1"},
        {f.m_pContextHelp, "Shift+F1"}, {f.m_pMusicAction, "F12"}};
    for (const auto& [action, key] : keys) {
        EXPECT_EQ(action->shortcut(), QKeySequence(key)) << action->text().toStdString();
    }
    // A key bound twice in one window would fire neither command.
    std::set<QString> bound;
    for (const QAction* action : s.frame->findChildren<QAction*>()) {
        for (const QKeySequence& key : action->shortcuts()) {
            EXPECT_TRUE(bound.insert(key.toString()).second) << key.toString().toStdString();
        }
    }
}

TEST(MainFrame, StopAndStartServingEnableEachOther) {
    GuiServer s;
    WriteFile(s.out / "a.txt", "hello");
    ASSERT_TRUE(s.Start());
    CMainFrame& f = *s.frame;
    EXPECT_TRUE(f.m_pStopServing->isEnabled());
    EXPECT_FALSE(f.m_pStartServing->isEnabled());

    // Without clients, Stop asks nothing: only the enable states change.
    f.m_pStopServing->trigger();
    EXPECT_EQ(s.app.m_bServing, 0);
    EXPECT_FALSE(f.m_pStopServing->isEnabled());
    EXPECT_TRUE(f.m_pStartServing->isEnabled());
    EXPECT_FALSE(s.app.m_pStopServingDlg);
    auto peer = s.NewPeer();
    EXPECT_EQ(peer->Exchange(s.port, tftp::Rrq("a.txt")), kRefusal);

    f.m_pStartServing->trigger();
    EXPECT_EQ(s.app.m_bServing, 1);
    EXPECT_TRUE(f.m_pStopServing->isEnabled());
    EXPECT_FALSE(f.m_pStartServing->isEnabled());
    auto data = peer->Exchange(s.port, tftp::Rrq("a.txt"));
    ASSERT_TRUE(data);
    EXPECT_EQ(tftp::Payload(*data), "hello");

    // A change made behind the window's back shows when a menu opens.
    s.app.OnStopServing();
    emit s.frame->menuBar()->actions()[0]->menu()->aboutToShow();
    EXPECT_FALSE(f.m_pStopServing->isEnabled());
    EXPECT_TRUE(f.m_pStartServing->isEnabled());
}

TEST(MainFrame, ToolbarStatusBarAndTitle) {
    GuiServer s;
    ASSERT_TRUE(s.Start());
    CMainFrame& f = *s.frame;
    auto* toolbar = f.findChild<QToolBar*>();
    ASSERT_NE(toolbar, nullptr);
    const QList<QAction*> buttons = toolbar->actions();
    const std::vector<QAction*> expected = {
        f.m_pAboutAction,  f.m_pContextHelp, nullptr,           f.m_pStopServing, nullptr,
        f.m_pStartServing, nullptr,          f.m_pClearDisplay, nullptr,          f.m_pIcmpReport};
    ASSERT_EQ(buttons.size(), static_cast<qsizetype>(expected.size()));
    for (std::size_t i = 0; i < expected.size(); ++i) {
        if (expected[i] == nullptr) {
            EXPECT_TRUE(buttons[static_cast<qsizetype>(i)]->isSeparator()) << i;
        } else {
            EXPECT_EQ(buttons[static_cast<qsizetype>(i)], expected[i]) << i;
            EXPECT_FALSE(expected[i]->icon().isNull()) << i;
        }
    }

    QStatusBar* bar = f.statusBar();
    QLabel* idle = nullptr;
    for (QLabel* label : bar->findChildren<QLabel*>()) {
        if (label->text() == "For Help, press F1, press F12 for Music :)") {
            idle = label;
        }
    }
    ASSERT_NE(idle, nullptr);
    EXPECT_TRUE(idle->isVisible());
    // A highlighted command shows its prompt in place of the idle text.
    f.m_pStopServing->showStatusText(&f);
    EXPECT_EQ(bar->currentMessage(), "Stops the server responding to clients");
    bar->clearMessage();
    EXPECT_TRUE(idle->isVisible());

    EXPECT_EQ(f.windowTitle(), QString("Quaylon - 127.0.0.1.%1").arg(s.port));
    // A new port with no client running switches at once, and the title follows it.
    const std::uint16_t second = FreeUdpPort();
    s.app.Port = std::to_string(second);
    s.app.PortChanged();
    EXPECT_EQ(f.windowTitle(), QString("Quaylon - 127.0.0.1.%1").arg(second));
    WriteFile(s.out / "b.txt", "moved");
    auto peer = s.NewPeer();
    auto data = peer->Exchange(second, tftp::Rrq("b.txt"));
    ASSERT_TRUE(data);
    EXPECT_EQ(tftp::Payload(*data), "moved");
}

TEST(MainFrame, ClosingTheWindowLogsTheRowsAndStoresThePlace) {
    GuiServer s;
    ASSERT_TRUE(s.Start());
    s.NewClient(3, "10.0.0.3");
    s.View().setColumnWidth(0, 171);
    s.frame->close();
    EXPECT_EQ(s.Model().rowCount(), 0);
    EXPECT_EQ(ReadFile(s.app.LogFile).rfind("10.0.0.3 ", 0), 0u);

    int rect[4] = {};
    std::uint32_t bMinimized = 0;
    int widths[6] = {};
    ASSERT_EQ(s.app.LoadWindowPlacement(rect, &bMinimized, &widths[0], &widths[1], &widths[2],
                                        &widths[3], &widths[4], &widths[5]),
              1);
    EXPECT_EQ(rect[2] - rect[0], s.frame->frameGeometry().width());
    EXPECT_EQ(widths[0], 171);
}

TEST(TrayIcon, InstallHidesTheWindowOrWithoutATrayTurnsTheOptionOff) {
    GuiServer s;
    ASSERT_TRUE(s.Start());
    s.app.bUseTaskbar = 1;
    s.frame->InstallTrayIcon();
    if (QSystemTrayIcon::isSystemTrayAvailable()) {
        EXPECT_EQ(s.app.bUseTaskbar, 1);
        EXPECT_TRUE(s.frame->TrayIconShown());
        EXPECT_FALSE(s.frame->isVisible());
    } else {
        EXPECT_EQ(s.app.bUseTaskbar, 0);
        EXPECT_FALSE(s.frame->TrayIconShown());
        EXPECT_TRUE(s.frame->isVisible());
    }
    // The setup's end with the option off removes an icon, or quietly finds none.
    s.app.bUseTaskbar = 0;
    s.frame->OnSetup();
    EXPECT_FALSE(s.frame->TrayIconShown());
    EXPECT_TRUE(s.frame->isVisible() || !QSystemTrayIcon::isSystemTrayAvailable());
}

TEST(TrayIcon, ShowBringsTheWindowBackAndKeepsTheOption) {
    GuiServer s;
    ASSERT_TRUE(s.Start());
    QMenu* popup = s.frame->TrayMenu();
    ASSERT_EQ(Entries(popup), (std::vector<QString>{"Show", "Close"}));
    EXPECT_EQ(popup->actions()[0]->statusTip(), "Show server window");
    EXPECT_EQ(popup->actions()[1]->statusTip(), "Shut server down");

    s.app.bUseTaskbar = 1;
    s.frame->showMinimized();
    s.frame->hide();
    s.Pump();
    popup->actions()[0]->trigger();
    s.Pump();
    EXPECT_TRUE(s.frame->isVisible());
    EXPECT_FALSE(s.frame->isMinimized());
    EXPECT_FALSE(s.frame->TrayIconShown());
    EXPECT_EQ(s.app.bUseTaskbar, 1);
}

TEST(TrayIcon, CloseEndsTheProgramWithoutLoggingTheRows) {
    GuiServer s;
    ASSERT_TRUE(s.Start());
    s.NewClient(4, "10.0.0.4");
    s.View().setColumnWidth(0, 163);
    QAction* close = s.frame->TrayMenu()->actions()[1];
    QTimer::singleShot(0, close, &QAction::trigger);
    QTimer guard;
    guard.setSingleShot(true);
    QObject::connect(&guard, &QTimer::timeout, [] { QApplication::exit(2); });
    guard.start(5000);
    EXPECT_EQ(QApplication::exec(), 0);
    guard.stop();

    EXPECT_FALSE(s.frame->isVisible());
    EXPECT_FALSE(FileExists(s.app.LogFile)) << ReadFile(s.app.LogFile);
    // The view's end still stores the widths.
    int rect[4] = {};
    std::uint32_t bMinimized = 0;
    int widths[6] = {};
    EXPECT_EQ(s.app.LoadWindowPlacement(rect, &bMinimized, &widths[0], &widths[1], &widths[2],
                                        &widths[3], &widths[4], &widths[5]),
              1);
    EXPECT_EQ(widths[0], 163);
}

TEST(AboutSheet, OpensOnceOnTheVersionPageAndAgainAfterItClosed) {
    GuiServer s;
    ASSERT_TRUE(s.Start());
    s.frame->m_pAboutAction->trigger();
    QPointer<CAbout> sheet = s.frame->About();
    ASSERT_TRUE(sheet);
    EXPECT_TRUE(sheet->isVisible());
    EXPECT_EQ(sheet->windowTitle(), "About Quaylon");
    EXPECT_EQ(sheet->parentWidget(), nullptr);
    QTabWidget* pages = sheet->Pages();
    ASSERT_EQ(pages->count(), 2);
    EXPECT_EQ(pages->tabText(0), "Contact");
    EXPECT_EQ(pages->tabText(1), "Version");
    EXPECT_EQ(pages->currentIndex(), 1);
    const QStringList version = Labels(pages->widget(1));
    EXPECT_TRUE(version.contains("Quaylon"));
    EXPECT_TRUE(version.contains("         Version 3.80"));

    // A second command neither makes another sheet nor turns this one's page.
    pages->setCurrentIndex(0);
    s.frame->m_pAboutAction->trigger();
    EXPECT_EQ(s.frame->About(), sheet.data());
    EXPECT_EQ(OpenAboutSheets().size(), 1u);
    EXPECT_EQ(pages->currentIndex(), 0);

    // OK destroys it; the next command opens a new one, again on Version.
    auto* box = sheet->findChild<QDialogButtonBox*>();
    ASSERT_NE(box, nullptr);
    ASSERT_NE(box->button(QDialogButtonBox::Ok), nullptr);
    box->button(QDialogButtonBox::Ok)->click();
    s.Pump();
    EXPECT_FALSE(sheet);
    EXPECT_EQ(s.frame->About(), nullptr);
    EXPECT_TRUE(OpenAboutSheets().empty());
    s.frame->m_pAboutAction->trigger();
    sheet = s.frame->About();
    ASSERT_TRUE(sheet);
    EXPECT_TRUE(sheet->isVisible());
    EXPECT_EQ(sheet->Pages()->currentIndex(), 1);

    // Escape takes it off the screen too, and then the command must not be dead.
    QKeyEvent escape(QEvent::KeyPress, Qt::Key_Escape, Qt::NoModifier);
    QApplication::sendEvent(sheet.data(), &escape);
    s.Pump();
    s.frame->m_pAboutAction->trigger();
    ASSERT_TRUE(s.frame->About());
    EXPECT_TRUE(s.frame->About()->isVisible());
    EXPECT_EQ(OpenAboutSheets().size(), 1u);
}
