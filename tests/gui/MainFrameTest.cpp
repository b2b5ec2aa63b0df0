#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QHelpEvent>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMenuBar>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QStatusBar>
#include <QStatusTipEvent>
#include <QSystemTrayIcon>
#include <QTabWidget>
#include <QTimer>
#include <QToolTip>
#include <QTreeWidget>
#include <cstdlib>

#include "GuiServer.h"
#include "console/qt/About.h"
#include "console/qt/DecisionDlg.h"
#include "console/qt/IcmpReport.h"
#include "console/qt/VersionDlg.h"
#include "support/LoopbackHttpServer.h"

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

TEST(MainFrame, CommandsKeysColumnsCellsStatusDecisionsAboutAlertTrayIcmpVersionAndClose) {
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
    s.Notify(STATUS_NEW_CLIENT, 5, "10.0.0.5");
    s.Notify(STATUS_FILE, 5, longName);
    s.Notify(STATUS_NEW_CLIENT, 6, "10.0.0.6");
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

    // About opens on the version page; a second command reuses the sheet and leaves its page.
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

    // The alert box shows only while minimised with the option on.
    s.app.bShowAlert = 1;
    s.Notify(STATUS_NEW_CLIENT, 2, "10.0.0.2");
    EXPECT_EQ(s.View().AlertBox(), nullptr) << "the frame is on the screen";

    s.frame->showMinimized();
    s.Pump();
    ASSERT_TRUE(s.frame->isMinimized());
    s.app.bShowAlert = 0;
    s.Notify(STATUS_NEW_CLIENT, 3, "10.0.0.3");
    EXPECT_EQ(s.View().AlertBox(), nullptr) << "the option is off";

    s.app.bShowAlert = 1;
    s.Notify(STATUS_NEW_CLIENT, 4, "10.0.0.4");
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

    // Without the right to a raw socket there is no monitor, and the command says so.
    s.app.IcmpFlags = 0x0001 | 0x0010;  // echo reply and echo request
    s.View().OnInitialUpdate();
    f.UpdateCommandUI();
    EXPECT_EQ(f.m_pIcmpReport->isEnabled(), s.View().IcmpReport() != nullptr);
    if (CIcmpReport* report = s.View().IcmpReport()) {
        ASSERT_EQ(std::system("ping -c 1 -W 5 127.0.0.1 > /dev/null"), 0);
        const QTreeWidget& list = *report->List();
        const auto rowOf = [&list](const QString& message) {
            const auto found = list.findItems(message, Qt::MatchExactly, 2);
            return found.isEmpty() || found[0]->text(0) != "127.0.0.1"
                       ? -1
                       : list.indexOfTopLevelItem(found[0]);
        };
        ASSERT_TRUE(
            PumpUntil([&] { return rowOf("Echo Reply") >= 0 && rowOf("Echo request") >= 0; }));
        // Newest first: the kernel's reply above the request it answers.
        EXPECT_LT(rowOf("Echo Reply"), rowOf("Echo request"));
        EXPECT_FALSE(report->isVisible());
        f.m_pIcmpReport->trigger();
        EXPECT_TRUE(report->isVisible());
        f.m_pIcmpReport->trigger();
        EXPECT_FALSE(report->isVisible());
    }

    // Tags in any case, notes shown as they come, and the size read up to its first non-digit.
    LoopbackHttpServer server({HttpResponse("<!Note=Faster><!current version=Quaylon V3.81>"
                                            "<!AVAILABLE FROM=/get/new.bin><!Note=Read me>"
                                            "<!SiZe=4 bytes>"),
                               HttpResponse("new!")});
    setenv("QUAYLON_UPDATE_SERVER", server.Address().c_str(), 1);
    setenv("XDG_CONFIG_HOME", s.config.Path().c_str(), 1);
    s.app.m_AppPath = s.out / "quaylon";

    // Answers each modal box by its text and the dialog by "Download", then closes it once the
    // three boxes came; after ten seconds of ticks everything is refused.
    QStringList boxes;
    QString notes;
    int progressRange = -1;  // once "Download" is clicked, the bar's range if it shows
    int ticks = 0;
    QTimer driver;
    QObject::connect(&driver, &QTimer::timeout, [&] {
        QWidget* modal = QApplication::activeModalWidget();
        auto* dialog = qobject_cast<CVersionDlg*>(modal);
        if (auto* box = qobject_cast<QMessageBox*>(modal)) {
            boxes << box->text();
            box->button(box->text().contains("?") ? QMessageBox::Yes : QMessageBox::Ok)->click();
        } else if (++ticks > 500 && modal != nullptr) {
            qobject_cast<QDialog*>(modal)->reject();
        } else if (dialog != nullptr && dialog->DownloadButton()->isEnabled()) {
            dialog->DownloadButton()->click();
            progressRange = dialog->Progress()->isVisible() ? dialog->Progress()->maximum() : -1;
        } else if (dialog != nullptr && boxes.size() == 3) {
            notes = dialog->Edit()->toPlainText();
            dialog->accept();
        }
    });
    driver.start(20);
    f.m_pCheckVersion->trigger();
    unsetenv("QUAYLON_UPDATE_SERVER");

    EXPECT_EQ(boxes, (QStringList{"Are you connected to the Internet ?",
                                  "Do you want to install the new version now ?",
                                  "Please close Quaylon and then close Windows to install the "
                                  "new software"}));
    const std::string connect =
        "Attempting connection to server ...\nConnected to server, getting data ...\n"
        "Connection with server closed\n";
    EXPECT_EQ(notes.toStdString(), connect + "Faster\nRead me\nLatest Version : Quaylon V3.81\n" +
                                       "Size : 4\n" + connect + "File received, " +
                                       std::to_string(HttpResponse("new!").size()) +
                                       " bytes long\n");
    EXPECT_EQ(progressRange, 4);
    const std::string host = "Host: " + server.Address() + "\r\nAccept : */*\r\n\r\n";
    EXPECT_EQ(server.Requests(),
              (std::vector<std::string>{"GET /version.htm HTTP/1.1\r\n" + host,
                                        "GET /get/new.bin HTTP/1.1\r\n" + host}));
    EXPECT_EQ(ReadFile(s.out / "NewQuaylon.exe"), "new!");
    EXPECT_FALSE(FileExists(s.out / "NewQuaylon.tmp"));
    EXPECT_TRUE(FileExists(s.config / "autostart/NewQuaylon.desktop"));

    // Close ends the program's loop at once and leaves the rows out of the log.
    s.Notify(STATUS_NEW_CLIENT, 4, "10.0.0.4");
    QTimer::singleShot(0, items[1], &QAction::trigger);
    QObject guard;
    QTimer::singleShot(5000, &guard, [] { QApplication::exit(2); });
    EXPECT_EQ(QApplication::exec(), 0);
    EXPECT_FALSE(s.frame->isVisible());
    EXPECT_FALSE(FileExists(s.app.LogFile));
}
