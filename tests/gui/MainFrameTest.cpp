#include <gtest/gtest.h>

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QHelpEvent>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMenuBar>
#include <QPushButton>
#include <QStatusBar>
#include <QStatusTipEvent>
#include <QSystemTrayIcon>
#include <QTabWidget>
#include <QTimer>
#include <QToolTip>

#include "GuiServer.h"
#include "console/qt/About.h"
#include "console/qt/DecisionDlg.h"

namespace {

// The button of that text if exactly one decision box on the screen has one, else nothing.
QPushButton* DecisionButton(const QString& text) {
    std::vector<QPushButton*> found;
    for (QWidget* box : QApplication::topLevelWidgets()) {
        for (QPushButton* button : box->findChildren<QPushButton*>()) {
            if (qobject_cast<CDecisionDlg*>(box) && box->isVisible() && button->text() == text) {
                found.push_back(button);
            }
        }
    }
    return found.size() == 1 ? found[0] : nullptr;
}

}  // namespace

TEST(MainFrame, CommandsKeysColumnsCellsStatusTextDecisionsAboutAlertBoxTrayIconAndClose) {
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

    EXPECT_EQ(f.windowTitle(), QString("Quaylon - 127.0.0.1.%1").arg(s.port));

    QStringList keys;
    for (const QAction* action : f.actions()) {
        if (!action->shortcut().isEmpty()) {
            keys << action->shortcut().toString();
        }
    }
    for (const char* key :
         {"Ctrl+A", "Ctrl+G", "Ctrl+O", "Ctrl+S", "Ctrl+U", "F1", "Shift+F1", "F12"}) {
        EXPECT_TRUE(keys.contains(key)) << key;
    }
    // Reset Columns: the widths as given, and the last column takes the rest.
    CNewView& view = s.View();
    view.setColumnWidth(0, 400);
    f.m_pResetColumns->trigger();
    int sum = 0;
    for (int column = 0; column < 6; ++column) {
        if (column < 5) {
            EXPECT_EQ(view.columnWidth(column), CSettings::kDefaultWidths[column]);
        }
        sum += view.columnWidth(column);
    }
    EXPECT_EQ(sum, view.viewport()->width()) << "no blank strip";

    // A cut cell tells its whole text; rows copy as tab-separated lines.
    const std::string longName(80, 'n');
    s.NewClient(5, "10.0.0.5");
    s.app.m_Status.text = longName;
    s.app.NotifyView(STATUS_FILE, 5);
    s.NewClient(6, "10.0.0.6");
    s.Model().FlushChanges();
    const QRect cell = view.visualRect(s.Model().index(0, 1));
    QHelpEvent tip(QEvent::ToolTip, cell.center(), view.viewport()->mapToGlobal(cell.center()));
    QApplication::sendEvent(view.viewport(), &tip);
    EXPECT_EQ(QToolTip::text().toStdString(), longName);
    view.selectAll();
    QKeyEvent copy(QEvent::KeyPress, Qt::Key_C, Qt::ControlModifier);
    QApplication::sendEvent(&view, &copy);
    const QStringList lines = QApplication::clipboard()->text().split('\n');
    ASSERT_EQ(lines.size(), 3);
    EXPECT_TRUE(lines[0].startsWith("10.0.0.5\t" + QString::fromStdString(longName) + "\t"));
    EXPECT_TRUE(lines[1].startsWith("10.0.0.6\t"));

    // A prompt takes the idle text's place, at the same spot.
    QLabel* status = f.statusBar()->findChild<QLabel*>();
    ASSERT_TRUE(status);
    const QString idle = "For Help, press F1, press F12 for Music :)";
    EXPECT_EQ(status->text(), idle);
    const int x = status->mapTo(&f, QPoint()).x();
    QStatusTipEvent prompt("Setup server parameters");
    QApplication::sendEvent(&f, &prompt);
    EXPECT_EQ(status->text(), "Setup server parameters");
    EXPECT_TRUE(status->isVisible());
    EXPECT_EQ(status->mapTo(&f, QPoint()).x(), x);
    QStatusTipEvent none("");
    QApplication::sendEvent(&f, &none);
    EXPECT_EQ(status->text(), idle);

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

    // Keep Clients lets a hanging client carry on, Drop Clients cuts it.
    f.m_pStartServing->trigger();
    auto peer = s.HangingRead();
    ASSERT_TRUE(peer);
    // Stop with a client running asks; the answer closes the box.
    const auto stopAndAnswer = [&](const QString& answer) {
        f.m_pStopServing->trigger();
        QPushButton* button = DecisionButton(answer);
        ASSERT_NE(button, nullptr) << answer.toStdString();
        button->click();
        s.Pump();
        EXPECT_EQ(DecisionButton(answer), nullptr) << "the box is gone";
    };

    stopAndAnswer("Keep Clients");
    EXPECT_EQ(s.app.ClientCount(), 1);
    const auto next = peer->Answer(tftp::Ack(1));
    ASSERT_TRUE(next);
    EXPECT_EQ(tftp::Number(*next), 2);

    f.m_pStartServing->trigger();
    ASSERT_EQ(s.app.m_bServing, 1);
    stopAndAnswer("Drop Clients");
    EXPECT_EQ(s.app.ClientCount(), 0);
    EXPECT_TRUE(f.m_pStartServing->isEnabled()) << "serving has stopped";
    peer->Reply(tftp::Ack(2));
    EXPECT_FALSE(peer->Receive(100)) << "the dropped client gets nothing more";

    // The alert box shows while minimised with the option on, a key hides it and the idle tick
    // destroys it.
    s.app.bShowAlert = 1;
    s.NewClient(2, "10.0.0.2");
    EXPECT_EQ(s.View().AlertBox(), nullptr) << "the frame is on the screen";

    s.frame->showMinimized();
    s.Pump();
    ASSERT_TRUE(s.frame->isMinimized());
    s.app.bShowAlert = 0;
    s.NewClient(3, "10.0.0.3");
    EXPECT_EQ(s.View().AlertBox(), nullptr) << "the option is off";

    s.app.bShowAlert = 1;
    s.NewClient(4, "10.0.0.4");
    QPointer<CAlertBox> box = s.View().AlertBox();
    ASSERT_TRUE(box);
    EXPECT_TRUE(box->isVisible());
    EXPECT_EQ(box->ClientText(), "10.0.0.4");

    // A key on its text hides it, but leaves it to the tick to destroy.
    auto* text = box->findChild<QLineEdit*>();
    ASSERT_NE(text, nullptr);
    QKeyEvent key(QEvent::KeyPress, Qt::Key_Backspace, Qt::NoModifier);
    QApplication::sendEvent(text, &key);
    EXPECT_FALSE(box->isVisible());
    EXPECT_TRUE(box);

    s.View().OnTimer();
    s.Pump();
    EXPECT_FALSE(box);

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
