#include <gtest/gtest.h>

#include <QLineEdit>
#include <QProcess>

#include "GuiServer.h"
#include "console/qt/DecisionDlg.h"
#include "console/qt/Options.h"
#include "console/qt/OtherPage.h"

namespace {

// curl's whole answer for a read of name from port, pumping Qt's loop meanwhile.
std::string CurlRead(std::uint16_t port, const std::string& name, int seconds = 5) {
    QProcess curl;
    curl.start("curl",
               {"-s", "-m", QString::number(seconds),
                QString::fromStdString("tftp://127.0.0.1:" + std::to_string(port) + "/" + name)});
    PumpUntil([&] { return curl.state() == QProcess::NotRunning; }, 10000);
    return curl.exitCode() == 0 ? curl.readAllStandardOutput().toStdString() : std::string();
}

}  // namespace

TEST(SheetPortChange, TheListenerMovesAtOnceCurlIsServedThereAndThePortIsStoredAtTheEnd) {
    TempDir store;
    const std::string bytes = PatternBytes(2000, 3);
    std::uint16_t first = 0;
    std::uint16_t second = FreeUdpPort();
    std::uint16_t third = 0;
    {
        auto s = std::make_unique<GuiServer>();
        s->app.m_ConfigDir = store.Path();
        ASSERT_TRUE(s->Start());
        first = s->port;
        WriteFile(s->out / "hello.bin", bytes);
        ASSERT_TRUE(CurlRead(first, "hello.bin") == bytes);
        s->View().OnTimer();  // the finished client leaves the table

        // No client: the new port is served while the sheet stays open.
        COptions sheet(s->app, s->frame.get());
        sheet.Tabs()->setCurrentWidget(sheet.m_pOther);
        sheet.m_pOther->PortEdit()->setText(QString::number(second));
        sheet.OnApply();
        EXPECT_EQ(s->frame->windowTitle(), QString("Quaylon - 127.0.0.1.%1").arg(second));
        EXPECT_TRUE(CurlRead(second, "hello.bin") == bytes);
        EXPECT_TRUE(CurlRead(first, "hello.bin", 1).empty()) << "the old port no longer serves";
        s->View().OnTimer();

        // A client being served: the decision box asks, and "Drop Clients" moves the port.
        s->port = second;
        auto hanging = s->HangingRead();
        ASSERT_TRUE(hanging);
        third = FreeUdpPort();
        sheet.m_pOther->PortEdit()->setText(QString::number(third));
        sheet.OnApply();
        ASSERT_TRUE(s->app.m_pPortChangeDlg);
        CDecisionDlg* box = s->op.DialogOf(*s->app.m_pPortChangeDlg);
        ASSERT_TRUE(box && box->isVisible());
        EXPECT_TRUE(CurlRead(second, "hello.bin") == bytes) << "the old port serves until decided";
        box->accept();
        s->Pump();
        EXPECT_FALSE(s->app.m_pPortChangeDlg);
        EXPECT_TRUE(CurlRead(third, "hello.bin") == bytes);
        sheet.accept();
    }
    // The orderly end wrote the store; --port had said this run only, the sheet says for good.
    const std::string saved = ReadFile(store / "registry.reg");
    EXPECT_NE(saved.find("\"Port\"=\"" + std::to_string(third) + "\""), std::string::npos) << saved;
}
