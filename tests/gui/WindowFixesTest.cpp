#include <gtest/gtest.h>

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QHelpEvent>
#include <QKeyEvent>
#include <QLabel>
#include <QStatusBar>
#include <QStatusTipEvent>
#include <QToolTip>

#include "GuiServer.h"
#include "console/qt/About.h"
#include "console/qt/FolderDlg.h"
#include "console/qt/ListenAddressDlg.h"
#include "console/qt/MultihomedDlg.h"
#include "console/qt/Options.h"
#include "console/qt/ServerInfoDlg.h"

TEST(WindowFixes, DialogsHaveOnlyTheirOwnButtonsAndOurIcon) {
    GuiServer s;
    ASSERT_TRUE(s.Start());
    const std::vector<std::string> addresses = {"10.0.0.1", "10.0.0.2"};
    CFolderDlg folder;
    CMultihomedDlg multihomed(&addresses);
    CListenAddressDlg listen;
    CServerInfoDlg info;
    CAbout about;
    COptions options(s.app);
    for (QWidget* dialog :
         std::initializer_list<QWidget*>{&folder, &multihomed, &listen, &info, &about, &options}) {
        const std::string title = dialog->windowTitle().toStdString();
        const Qt::WindowFlags flags = dialog->windowFlags();
        EXPECT_FALSE(flags & (Qt::WindowMinimizeButtonHint | Qt::WindowMaximizeButtonHint))
            << title;
        EXPECT_TRUE(flags & Qt::CustomizeWindowHint) << title << ": the buttons are ours to say";
        EXPECT_FALSE(dialog->windowIcon().isNull()) << title;
    }
}

TEST(WindowFixes, KeysColumnsToolTipsCopyAndTheStatusText) {
    GuiServer s;
    ASSERT_TRUE(s.Start());
    CMainFrame& f = *s.frame;
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
    QLabel* text = f.statusBar()->findChild<QLabel*>();
    ASSERT_TRUE(text);
    const int x = text->mapTo(&f, QPoint()).x();
    QStatusTipEvent prompt("Setup server parameters");
    QApplication::sendEvent(&f, &prompt);
    EXPECT_EQ(text->text(), "Setup server parameters");
    EXPECT_TRUE(text->isVisible());
    EXPECT_EQ(text->mapTo(&f, QPoint()).x(), x);
    QStatusTipEvent none("");
    QApplication::sendEvent(&f, &none);
    EXPECT_EQ(text->text(), "For Help, press F1, press F12 for Music :)");
}
