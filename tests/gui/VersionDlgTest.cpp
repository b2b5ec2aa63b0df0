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

TEST(VersionDlg, CheckVersionReadsTheNewerPageFetchesTheProgramAndAsksToInstallIt) {
    // Tags in any case, notes shown as they come, and the size read up to its first non-digit.
    LoopbackHttpServer server({HttpResponse("<!Note=Faster><!current version=Quaylon V3.81>"
                                            "<!AVAILABLE FROM=/get/new.bin><!Note=Read me>"
                                            "<!SiZe=4 bytes>"),
                               HttpResponse("new!")});
    setenv("QUAYLON_UPDATE_SERVER", server.Address().c_str(), 1);
    GuiServer s;
    setenv("XDG_CONFIG_HOME", s.config.Path().c_str(), 1);
    ASSERT_TRUE(s.Start());
    s.app.m_AppPath = s.out / "quaylon";

    // Answers whatever modal box is up, a step a tick: a box by its text, the dialog by
    // "Download" once it is enabled and by "Cancel" once the install is settled. Bounded: after
    // ten seconds everything is refused.
    QStringList boxes;
    QString lines;
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
    const std::string connect =
        "Attempting connection to server ...\nConnected to server, getting data ...\n"
        "Connection with server closed\n";
    EXPECT_EQ(lines.toStdString(), connect + "Faster\nRead me\nLatest Version : Quaylon V3.81\n" +
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
}
