#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <algorithm>
#include <climits>

#include "GuiServer.h"
#include "console/qt/FolderDlg.h"
#include "console/qt/ListenAddressDlg.h"
#include "console/qt/MultihomedDlg.h"
#include "console/qt/ServerInfoDlg.h"
#include "server/ListenSocket.h"

namespace {

QStringList Folders(const CFolderDlg& dialog) {
    QStringList entries;
    for (int row = 0; row < dialog.Folders()->count(); ++row) {
        entries << dialog.Folders()->item(row)->text();
    }
    return entries;
}

int Row(const CFolderDlg& dialog, const QString& entry) {
    const auto found = dialog.Folders()->findItems(entry, Qt::MatchExactly);
    return found.isEmpty() ? -1 : dialog.Folders()->row(found.first());
}

QString ShownPath(const CFolderDlg& dialog) {
    const auto edits = dialog.findChildren<QLineEdit*>();
    return edits.size() == 1 ? edits.first()->text() : QString("(no single path field)");
}

QPushButton* StandardButton(QWidget* dialog, QDialogButtonBox::StandardButton which) {
    auto* box = dialog->findChild<QDialogButtonBox*>();
    return box == nullptr ? nullptr : box->button(which);
}

QString AllText(const QWidget* dialog) {
    QString text;
    for (const QLabel* label : dialog->findChildren<QLabel*>()) {
        text += label->text() + "\n";
    }
    return text;
}

}  // namespace

TEST(FolderDlg, OpensOnTheFolderOfAPathAndMovesDownAndUp) {
    TempDir t;
    for (const char* dir : {"a", "a/b", "c", ".dot", "..odd"}) {
        ASSERT_EQ(mkdir((t / dir).c_str(), 0700), 0) << dir;
    }
    WriteFile(t / "f.txt", "not a folder");
    const QString base = QString::fromStdString(t.Dir());

    CFolderDlg dialog;
    dialog.m_strPath = base + "a/file.txt";
    dialog.OnInitDialog();
    EXPECT_EQ(dialog.m_strPath, base + "a/");
    EXPECT_EQ(ShownPath(dialog), base + "a/");
    EXPECT_EQ(Folders(dialog), (QStringList{"[..]", "b"}));
    // The volume that holds the folder is the one selected.
    ASSERT_GE(dialog.Drives()->count(), 1);
    ASSERT_GE(dialog.Drives()->currentIndex(), 0);
    const QString volume = dialog.Drives()->currentText();
    EXPECT_TRUE(base.startsWith(volume.left(volume.indexOf(' ')))) << volume.toStdString();
    for (int i = 0; i < dialog.Drives()->count(); ++i) {
        EXPECT_TRUE(dialog.Drives()->itemText(i).startsWith('/'));
        EXPECT_TRUE(dialog.Drives()->itemText(i).contains(' '));
    }

    dialog.OpenEntry(Row(dialog, "b"));
    EXPECT_EQ(dialog.m_strPath, base + "a/b/");
    EXPECT_EQ(Folders(dialog), QStringList{"[..]"});
    dialog.OpenEntry(Row(dialog, "[..]"));
    dialog.OpenEntry(Row(dialog, "[..]"));
    EXPECT_EQ(dialog.m_strPath, base);
    EXPECT_EQ(ShownPath(dialog), base);
    // Plain files, "." and names that begin with two dots are left out; other dot names stay.
    QStringList top = Folders(dialog);
    ASSERT_FALSE(top.isEmpty());
    EXPECT_EQ(top.takeFirst(), "[..]");
    top.sort();
    EXPECT_EQ(top, (QStringList{".dot", "a", "c"}));

    // A path with its trailing '/' opens on itself.
    dialog.m_strPath = base + "c/";
    dialog.OnInitDialog();
    EXPECT_EQ(dialog.m_strPath, base + "c/");
}

TEST(FolderDlg, TheRootHasNoWayUpAndAnEmptyPathOpensOnTheCurrentFolder) {
    CFolderDlg dialog;
    dialog.m_strPath = "/tmp/";
    dialog.OnInitDialog();
    ASSERT_EQ(Folders(dialog).value(0), "[..]");
    dialog.OpenEntry(0);
    EXPECT_EQ(dialog.m_strPath, "/");
    EXPECT_FALSE(Folders(dialog).contains("[..]"));

    char cwd[PATH_MAX] = {};
    ASSERT_NE(getcwd(cwd, sizeof cwd), nullptr);
    dialog.m_strPath.clear();
    dialog.OnInitDialog();
    const QString here = QString(cwd) == "/" ? QString("/") : QString(cwd) + "/";
    EXPECT_EQ(dialog.m_strPath, here);
    EXPECT_GE(dialog.Drives()->currentIndex(), 0);

    // Choosing a volume opens its root.
    const int last = dialog.Drives()->count() - 1;
    emit dialog.Drives()->activated(last);
    const QString entry = dialog.Drives()->itemText(last);
    EXPECT_EQ(dialog.m_strPath, entry.left(entry.indexOf(' ')));
}

TEST(MultihomedDlg, NothingSelectedGivesIndexZeroAndTheCheckTravelsBothWays) {
    RecordingOperator op;
    const std::vector<std::string> addresses = {"10.1.0.9", "10.0.0.1", "127.0.0.3"};

    WhenModalOpens([](QWidget* modal) {
        auto* dialog = qobject_cast<CMultihomedDlg*>(modal);
        ASSERT_NE(dialog, nullptr);
        EXPECT_EQ(dialog->windowTitle(), "Multihomed Host - Please select Servers Host Address");
        QStringList shown;
        for (int row = 0; row < dialog->List()->count(); ++row) {
            shown << dialog->List()->item(row)->text();
        }
        EXPECT_EQ(shown, (QStringList{"10.1.0.9", "10.0.0.1", "127.0.0.3"})) << "not sorted";
        EXPECT_TRUE(dialog->Check()->isChecked());
        EXPECT_EQ(StandardButton(dialog, QDialogButtonBox::Cancel), nullptr);
        // A row that was current but is no longer selected counts as nothing selected.
        dialog->List()->setCurrentRow(2);
        dialog->List()->clearSelection();
        StandardButton(dialog, QDialogButtonBox::Ok)->click();
    });
    Operator::MultihomedChoice choice = op.ChooseAddress(addresses, true);
    EXPECT_TRUE(choice.bOk);
    EXPECT_EQ(choice.nSelected, 0);
    EXPECT_TRUE(choice.bDontShowAgain);

    WhenModalOpens([](QWidget* modal) {
        auto* dialog = qobject_cast<CMultihomedDlg*>(modal);
        ASSERT_NE(dialog, nullptr);
        EXPECT_FALSE(dialog->Check()->isChecked());
        dialog->List()->setCurrentRow(1);
        dialog->Check()->setChecked(true);
        StandardButton(dialog, QDialogButtonBox::Ok)->click();
    });
    choice = op.ChooseAddress(addresses, false);
    EXPECT_TRUE(choice.bOk);
    EXPECT_EQ(choice.nSelected, 1);
    EXPECT_TRUE(choice.bDontShowAgain);

    // Escape is no answer.
    WhenModalOpens([](QWidget* modal) {
        QKeyEvent escape(QEvent::KeyPress, Qt::Key_Escape, Qt::NoModifier);
        QApplication::sendEvent(modal, &escape);
    });
    choice = op.ChooseAddress(addresses, false);
    EXPECT_FALSE(choice.bOk);
}

TEST(ListenAddressDlg, OkGivesTheTypedAddressAndCancelGivesNone) {
    RecordingOperator op;
    WhenModalOpens([](QWidget* modal) {
        auto* dialog = qobject_cast<CListenAddressDlg*>(modal);
        ASSERT_NE(dialog, nullptr);
        EXPECT_EQ(dialog->windowTitle(), "Listening Address");
        const QString words = AllText(dialog);
        EXPECT_TRUE(words.contains("Server I.P. Address"));
        EXPECT_TRUE(words.contains("i.e. 192.168.0.20"));
        EXPECT_TRUE(
            words.contains("simply entering any number that comes to mind does not "
                           "usually work !"));
        dialog->Edit()->setText("127.0.0.9");
        StandardButton(dialog, QDialogButtonBox::Ok)->click();
    });
    EXPECT_EQ(op.AskListenAddress(), std::optional<std::string>("127.0.0.9"));

    WhenModalOpens([](QWidget* modal) {
        auto* dialog = qobject_cast<CListenAddressDlg*>(modal);
        ASSERT_NE(dialog, nullptr);
        dialog->Edit()->setText("127.0.0.10");
        StandardButton(dialog, QDialogButtonBox::Cancel)->click();
    });
    EXPECT_EQ(op.AskListenAddress(), std::nullopt);
}

TEST(ServerInfoDlg, ShowsTheListenersFiguresAndTheSocketLimits) {
    GuiServer s;
    ASSERT_TRUE(s.Start());
    // More descriptors than 16 bits hold show as the most they can.
    rlimit saved{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &saved), 0);
    rlimit wide = saved;
    wide.rlim_cur = std::min<rlim_t>(saved.rlim_max, 70000);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &wide), 0);
    const QString maxSockets = QString::number(std::min<rlim_t>(wide.rlim_cur, 65535));

    const CListenSocket& listener = *s.app.m_pListenSocket;
    const QStringList expected = {"Host Name",       QString::fromStdString(listener.m_HostName),
                                  "Host I.P.",       "127.0.0.1",
                                  "Adaptors",        QString::number(listener.m_nAddressCount),
                                  "Sockets Version", "2.2 -> 2.2",
                                  "Max. UDP",        "65507",
                                  "Max. Sockets",    maxSockets};
    QStringList shown;
    WhenModalOpens([&shown](QWidget* modal) {
        auto* dialog = qobject_cast<CServerInfoDlg*>(modal);
        ASSERT_NE(dialog, nullptr);
        EXPECT_EQ(dialog->windowTitle(), "Local Server Info");
        auto* form = dialog->findChild<QFormLayout*>();
        ASSERT_NE(form, nullptr);
        for (int row = 0; row < form->rowCount(); ++row) {
            for (auto role : {QFormLayout::LabelRole, QFormLayout::FieldRole}) {
                auto* label = qobject_cast<QLabel*>(form->itemAt(row, role)->widget());
                shown << (label != nullptr ? label->text() : QString("?"));
            }
        }
        StandardButton(dialog, QDialogButtonBox::Ok)->click();
    });
    s.frame->m_pInfo->trigger();
    setrlimit(RLIMIT_NOFILE, &saved);
    EXPECT_EQ(shown, expected);
    EXPECT_FALSE(listener.m_HostName.empty());
}
