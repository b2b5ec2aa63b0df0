#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QApplication>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QTimer>
#include <cstdlib>

#include "GuiServer.h"
#include "console/qt/VersionDlg.h"
#include "support/LoopbackHttpServer.h"

TEST(VersionDlg, CheckVersionFetchesTheNewerProgramAndAsksToInstallIt) {
    LoopbackHttpServer server({HttpResponse("<!Current Version=3.90><!Available From=/q><!Size=4>"),
                               HttpResponse("new!")});
    setenv("QUAYLON_UPDATE_SERVER", server.Address().c_str(), 1);
    GuiServer s;
    setenv("XDG_CONFIG_HOME", s.config.Path().c_str(), 1);
    ASSERT_TRUE(s.Start());
    TempDir programDir;
    s.app.m_AppPath = programDir / "quaylon";

    // Answers whatever modal box is up, a step a tick: a box by its text, the dialog by
    // "Download" once it is enabled and by "Cancel" once the install is settled. Bounded: after
    // ten seconds everything is refused.
    QStringList boxes;
    QString lines;
    bool bProgressShown = false;
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
            bProgressShown = dialog->Progress()->isVisible();
        } else if (dialog != nullptr && boxes.size() == 3) {
            lines = dialog->Edit()->toPlainText();
            dialog->accept();
        }
    });
    driver.start(20);
    s.frame->m_pCheckVersion->trigger();
    unsetenv("QUAYLON_UPDATE_SERVER");

    EXPECT_EQ(boxes, (QStringList{"Are you connected to the Internet ?",
                                  "Do you want to install the new version now ?",
                                  "Please close Quaylon and then close Windows to install the "
                                  "new software"}));
    EXPECT_TRUE(lines.contains("Latest Version : 3.90\nSize : 4\n")) << lines.toStdString();
    EXPECT_TRUE(lines.endsWith(QString::fromStdString(
        "File received, " + std::to_string(HttpResponse("new!").size()) + " bytes long\n")));
    EXPECT_TRUE(bProgressShown);
    EXPECT_EQ(ReadFile(programDir / "NewQuaylon.exe"), "new!");
    EXPECT_TRUE(FileExists(s.config / "autostart/NewQuaylon.desktop"));
}
