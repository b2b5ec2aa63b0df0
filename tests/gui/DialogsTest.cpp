#include <gtest/gtest.h>

#include <QApplication>
#include <QDialog>
#include <QListWidget>
#include <QPointer>
#include <QTimer>
#include <filesystem>

#include "GuiServer.h"
#include "console/qt/About.h"
#include "console/qt/FolderDlg.h"
#include "console/qt/ListenAddressDlg.h"
#include "console/qt/MultihomedDlg.h"
#include "console/qt/Options.h"
#include "console/qt/ServerInfoDlg.h"

TEST(Dialogs, HaveOnlyTheirOwnButtonsAndOurIconFolderMovesDownAndUpNoSelectionIsIndexZero) {
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

    const auto folders = [&folder] {
        QStringList entries;
        for (int row = 0; row < folder.Folders()->count(); ++row) {
            entries << folder.Folders()->item(row)->text();
        }
        return entries;
    };
    TempDir t;
    ASSERT_TRUE(std::filesystem::create_directories(t / "a/b"));
    const QString base = QString::fromStdString(t.Dir());

    folder.m_strPath = base + "a/file.txt";
    folder.OnInitDialog();
    EXPECT_EQ(folder.m_strPath, base + "a/");
    ASSERT_EQ(folders(), (QStringList{"[..]", "b"}));
    folder.OpenEntry(1);
    EXPECT_EQ(folder.m_strPath, base + "a/b/");
    ASSERT_EQ(folders(), QStringList{"[..]"});
    folder.OpenEntry(0);
    folder.OpenEntry(0);
    EXPECT_EQ(folder.m_strPath, base);

    // Acts from inside the dialog's own loop; a dialog left open is refused, so nothing hangs.
    QTimer::singleShot(0, [] {
        QPointer<CMultihomedDlg> dialog =
            qobject_cast<CMultihomedDlg*>(QApplication::activeModalWidget());
        ASSERT_TRUE(dialog);
        // A row that was current but is no longer selected counts as nothing selected.
        dialog->List()->setCurrentRow(2);
        dialog->List()->clearSelection();
        dialog->accept();
        if (dialog && dialog->isVisible()) {
            dialog->reject();
        }
    });
    const Operator::MultihomedChoice choice =
        s.op.ChooseAddress({"10.1.0.9", "10.0.0.1", "127.0.0.3"}, false);
    EXPECT_TRUE(choice.bOk);
    EXPECT_EQ(choice.nSelected, 0);
}
