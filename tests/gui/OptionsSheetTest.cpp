#include <gtest/gtest.h>
#include <unistd.h>

#include <QAbstractButton>
#include <QApplication>
#include <QCheckBox>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QProcess>
#include <QPushButton>
#include <QRadioButton>
#include <QSlider>
#include <QTabBar>
#include <QTabWidget>
#include <array>
#include <filesystem>

#include "GuiServer.h"
#include "console/qt/AddressPage.h"
#include "console/qt/ClientsPage.h"
#include "console/qt/DecisionDlg.h"
#include "console/qt/DirectoryPages.h"
#include "console/qt/ICMPEnable.h"
#include "console/qt/Options.h"
#include "console/qt/OptionsPage.h"
#include "console/qt/OtherPage.h"
#include "console/qt/ThreadsPage.h"

namespace {

QCheckBox* Box(QWidget* page, const QString& text) {
    for (QCheckBox* box : page->findChildren<QCheckBox*>()) {
        if (box->text() == text) {
            return box;
        }
    }
    ADD_FAILURE() << "no box " << text.toStdString();
    return new QCheckBox(page);
}

// Every text of the widget's visible children that is narrower than what it needs, named.
std::vector<std::string> ClippedTexts(const QWidget* top) {
    std::vector<std::string> clipped;
    const auto check = [&clipped](const QWidget* w, const QString& text, int need) {
        if (w->isVisible() && w->width() < need) {
            clipped.push_back(text.toStdString() + ": " + std::to_string(w->width()) + " < " +
                              std::to_string(need));
        }
    };
    for (const QAbstractButton* b : top->findChildren<QAbstractButton*>()) {
        check(b, b->text(), b->sizeHint().width());
    }
    for (const QLabel* l : top->findChildren<QLabel*>()) {
        check(l, l->text(), l->wordWrap() ? 0 : l->sizeHint().width());
    }
    for (const QGroupBox* g : top->findChildren<QGroupBox*>()) {
        check(g, g->title(), g->fontMetrics().horizontalAdvance(g->title()) + 16);
    }
    for (const QTabBar* t : top->findChildren<QTabBar*>()) {
        check(t, "tab bar", t->sizeHint().width());
    }
    for (const SliderScale* s : top->findChildren<SliderScale*>()) {
        // Each figure within the gap to its neighbours' figures.
        const std::vector<int> centres = s->TickCentres();
        const QStringList figures = s->Figures();
        for (int i = 0; s->isVisible() && i + 1 < figures.size(); ++i) {
            const int room =
                centres[static_cast<std::size_t>(i) + 1] - centres[static_cast<std::size_t>(i)];
            const int need = (s->fontMetrics().horizontalAdvance(figures[i]) +
                              s->fontMetrics().horizontalAdvance(figures[i + 1])) /
                             2;
            if (room <= need) {
                clipped.push_back(s->Text().toStdString() + " at " + figures[i].toStdString());
            }
        }
    }
    return clipped;
}

// curl's whole answer for a read of name from port, pumping Qt's loop meanwhile.
std::string CurlRead(std::uint16_t port, const std::string& name, int seconds = 5) {
    QProcess curl;
    curl.start("curl",
               {"-s", "-m", QString::number(seconds),
                QString::fromStdString("tftp://127.0.0.1:" + std::to_string(port) + "/" + name)});
    PumpUntil([&] { return curl.state() == QProcess::NotRunning; }, 10000);
    return curl.exitCode() == 0 ? curl.readAllStandardOutput().toStdString() : std::string();
}

// The server with the sheet made as Setup makes it, before it runs.
class OptionsSheet : public testing::Test {
  protected:
    void SetUp() override { ASSERT_TRUE(s.Start()); }
    std::unique_ptr<COptions> MakeSheet() { return std::make_unique<COptions>(s.app); }

    GuiServer s;
};

}  // namespace

TEST_F(OptionsSheet, PagesShowAndStoreOnlyWhenOpenedDuplicateBoxesExcludeBadPathsAreRefused) {
    s.app.bRenameDuplicate = 1;
    s.app.Timeout = "7";
    s.app.ADData = s.config / "rules.dat";
    s.app.nMaxClientsPos = 9;  // out of range: shown and stored as 1
    s.app.nMaxDisplayPos = 7;  // out of range: shown and stored as 6
    s.app.nPriority = 4;       // shown as Automatic, stored as 3
    s.app.IcmpFlags = 0xE003;  // bits above the boxes are lost
    auto sheet = MakeSheet();
    QStringList captions;
    for (int i = 0; i < sheet->Tabs()->count(); ++i) {
        captions << sheet->Tabs()->tabText(i);
    }
    EXPECT_EQ(captions.join(","),
              "Inbound,Outbound,Allow,Deny,Options,Client Limits,"
              "MultiThreading && Logging,ICMP Messages");
    // Only the page open at the start stores.
    QCheckBox* create = Box(sheet->m_pInbound, "Create paths as needed");
    create->click();
    EXPECT_FALSE(sheet->ApplyButton()->isEnabled()) << "this box does not mark the page";
    sheet->OnApply();
    EXPECT_EQ(s.app.bCreatePaths, 1);
    EXPECT_EQ(s.app.nPriority, 4u);
    EXPECT_EQ(s.app.IcmpFlags, 0xE003u);
    EXPECT_FALSE(FileExists(s.app.ADData)) << "the rule pages were never opened";

    for (COptionsPage* page : sheet->Pages()) {
        sheet->Tabs()->setCurrentWidget(page);
    }

    EXPECT_EQ(sheet->m_pInbound->PathEdit()->text().toStdString(), s.in.Dir());
    EXPECT_TRUE(Box(sheet->m_pInbound, "Rename Existing")->isEnabled());
    EXPECT_EQ(sheet->m_pOther->TimeoutEdit()->text(), "7");
    EXPECT_EQ(sheet->m_pClients->MaxClients()->value(), 1);
    EXPECT_EQ(sheet->m_pClients->MaxDisplay()->value(), 6);
    EXPECT_TRUE(sheet->m_pThreads->Mode(3)->isChecked());
    const std::vector<QCheckBox*>& icmp = sheet->m_pIcmp->Boxes();
    QString shown;
    for (const QCheckBox* box : icmp) {
        shown += box->isChecked() ? '1' : '0';
    }
    EXPECT_EQ(shown, "11000001000000") << "Unknown messages heads the right column";

    // Showing the settings marks nothing as changed.
    EXPECT_FALSE(sheet->ApplyButton()->isEnabled());
    TempDir other;
    sheet->m_pOutbound->PathEdit()->setText(QString::fromStdString(other.Path()));
    Box(sheet->m_pOutbound, "Delete after sending")->click();
    EXPECT_TRUE(sheet->ApplyButton()->isEnabled());
    Box(sheet->m_pOther, "Minimize at startup")->click();
    sheet->m_pOther->TimeoutEdit()->setText("12");
    sheet->m_pClients->MaxDisplay()->setValue(2);
    sheet->m_pThreads->Mode(2)->click();
    sheet->m_pThreads->LogFileEdit()->setText("");
    icmp[13]->click();
    sheet->ApplyButton()->click();
    EXPECT_FALSE(sheet->ApplyButton()->isEnabled());

    EXPECT_EQ(s.app.OutPath, other.Dir()) << "the closing '/' is added";
    EXPECT_EQ(s.app.bDeleteAfterSend, 1);
    EXPECT_EQ(s.app.bMinimizeAtStartup, 1u);
    EXPECT_EQ(s.app.bNoSplash, 1u) << "minimised at start-up shows no splash";
    EXPECT_TRUE(Box(sheet->m_pOther, "Disable splash at startup")->isChecked());
    EXPECT_EQ(s.app.Timeout, "12");
    EXPECT_EQ(s.app.nMaxClientsPos, 1u);
    EXPECT_EQ(s.app.nMaxDisplayPos, 2u);
    EXPECT_EQ(s.app.nPriority, 2u);
    EXPECT_EQ(s.app.LogFile, "");
    EXPECT_EQ(s.app.IcmpFlags, 0x3003u);

    create->click();
    sheet->reject();
    EXPECT_EQ(s.app.bCreatePaths, 1) << "Cancel undoes nothing Apply stored, stores nothing new";

    // The threads page accepted without a click turns the unset 4 into Automatic.
    s.app.nPriority = 4;
    sheet = MakeSheet();
    sheet->Tabs()->setCurrentWidget(sheet->m_pThreads);
    sheet->OnApply();
    EXPECT_EQ(s.app.nPriority, 3u);

    s.app.bRenameDuplicate = 1;
    s.app.bRenameExisting = 1;
    s.app.bRejectDuplicate = 1;  // as a store may hold it
    sheet = MakeSheet();
    QCheckBox* rename = Box(sheet->m_pInbound, "Rename duplicate files");
    QCheckBox* existing = Box(sheet->m_pInbound, "Rename Existing");
    QCheckBox* reject = Box(sheet->m_pInbound, "Reject Duplicate Files");
    const auto state = [&] {
        return std::to_string(rename->isChecked()) + std::to_string(existing->isChecked()) +
               std::to_string(existing->isEnabled()) + std::to_string(reject->isChecked());
    };
    EXPECT_EQ(state(), "1111");
    existing->click();
    EXPECT_EQ(state(), "1010") << "Rename Existing clears Reject";
    existing->click();
    rename->click();
    EXPECT_EQ(state(), "0100") << "a checked Rename Existing stays checked while disabled";
    sheet->OnApply();
    EXPECT_EQ(s.app.bRenameDuplicate * 1 + s.app.bRenameExisting * 2 + s.app.bRejectDuplicate * 4,
              2);
    reject->click();
    EXPECT_EQ(state(), "0001");
    rename->click();
    EXPECT_EQ(state(), "1010");

    const std::string oldIn = s.app.InPath;
    sheet = MakeSheet();
    sheet->Tabs()->setCurrentWidget(sheet->m_pOutbound);
    sheet->Tabs()->setCurrentWidget(sheet->m_pOther);
    sheet->m_pInbound->PathEdit()->setText("/no/such/directory");
    Box(sheet->m_pInbound, "Allow Inbound Paths")->click();
    Box(sheet->m_pOutbound, "Enable Paths")->click();
    sheet->m_pOther->TimeoutEdit()->setText("9");
    sheet->OnApply();
    EXPECT_EQ(sheet->Tabs()->currentWidget(), sheet->m_pInbound);
    EXPECT_EQ(s.app.InPath, oldIn);
    EXPECT_EQ(s.app.bInboundPaths, 0) << "nothing of the refused page is stored";
    EXPECT_EQ(s.app.bOutboundPaths, 1u) << "the pages behind it store theirs";
    EXPECT_EQ(s.app.Timeout, "9");
    EXPECT_EQ(s.op.messages, std::vector<std::string>{"Error in path definition for "
                                                      "/no/such/directory/"});
    s.op.messages.clear();

    // An empty field asks; No stores it empty, Yes the current directory with one '/'.
    sheet->m_pInbound->PathEdit()->clear();
    sheet->m_pOutbound->PathEdit()->clear();
    sheet->OnApply();
    EXPECT_EQ(s.app.InPath, "");
    EXPECT_EQ(s.app.OutPath, "");
    EXPECT_EQ(s.op.questions,
              (std::vector<std::string>{
                  "Do you want the Inbound Directory set to the\ncurrent application path ?",
                  "Do you want the Outbound Directory set to the\ncurrent application path ?"}));
    char cwd[4096];
    ASSERT_NE(getcwd(cwd, sizeof cwd), nullptr);
    ASSERT_EQ(chdir("/"), 0);
    s.op.bYes = true;
    sheet->OnApply();
    EXPECT_EQ(chdir(cwd), 0);
    EXPECT_EQ(s.app.InPath, "/");

    // A directory from the command line is left alone; the page's boxes still store.
    s.app.m_bInPathArg = 1;
    s.app.InPath = "/from/the/command/line/";
    sheet = MakeSheet();
    EXPECT_FALSE(sheet->m_pInbound->PathEdit()->isEnabled());
    EXPECT_FALSE(sheet->m_pInbound->BrowseButton()->isEnabled());
    Box(sheet->m_pInbound, "Allow Inbound Paths")->click();  // on since the last Apply
    sheet->OnApply();
    EXPECT_EQ(s.app.InPath, "/from/the/command/line/");
    EXPECT_EQ(s.app.bInboundPaths, 0);
}

TEST_F(OptionsSheet, AddressRulesAndAPortChangeTakeEffectAtOnceAndCurlIsServedOnTheNewPort) {
    s.app.ADData = s.config / "rules.dat";
    s.app.m_DenyList = {"10.0.0.1"};
    auto sheet = MakeSheet();
    CAddressPage* allow = sheet->m_pAllow;
    sheet->Tabs()->setCurrentWidget(allow);
    allow->OnAdd();  // an untouched entry is 0.0.0.0, a valid rule
    const auto enter = [allow](std::array<const char*, 4> fields) {
        for (int i = 0; i < 4; ++i) {
            allow->Entry()->Field(i)->setText(fields[static_cast<std::size_t>(i)]);
        }
        allow->OnAdd();
    };
    enter({"192", "168", "1", "255"});
    EXPECT_TRUE(sheet->ApplyButton()->isEnabled());
    allow->OnAdd();
    EXPECT_EQ(s.op.messages, std::vector<std::string>{"Entry already exists"});
    s.op.messages.clear();
    enter({"255", "", "", ""});
    QStringList lines;
    for (int i = 0; i < allow->Rules()->count(); ++i) {
        lines << allow->Rules()->item(i)->text();
    }
    EXPECT_EQ(lines.join(","), "0.0.0.0,192.168.1.*,*.0.0.0");
    allow->OnRemove();  // nothing selected: nothing happens
    EXPECT_EQ(allow->Rules()->count(), 3);
    allow->Rules()->setCurrentRow(0);
    allow->OnRemove();
    EXPECT_FALSE(FileExists(s.app.ADData)) << "nothing is stored before the page is accepted";
    sheet->OnApply();
    EXPECT_EQ(s.app.m_AllowList, (std::list<std::string>{"192.168.1.*", "*.0.0.0"}));
    EXPECT_EQ(s.app.bAllow, 0u) << "the rules are kept with the switch off";

    // Opening only the deny page rewrites the whole file, the allow rules included.
    s.app.m_AllowList = {"127.0.0.*"};
    sheet = MakeSheet();
    sheet->Tabs()->setCurrentWidget(sheet->m_pDeny);
    sheet->m_pDeny->Switch()->click();
    sheet->OnApply();
    s.app.m_AllowList.clear();
    s.app.m_DenyList.clear();
    s.app.LoadRules();
    EXPECT_EQ(s.app.m_AllowList, std::list<std::string>{"127.0.0.*"});
    EXPECT_EQ(s.app.m_DenyList, std::list<std::string>{"10.0.0.1"});
    EXPECT_EQ(s.app.bDeny, 1u);

    const std::string bytes = PatternBytes(2000, 3);
    WriteFile(s.out / "hello.bin", bytes);
    ASSERT_TRUE(CurlRead(s.port, "hello.bin") == bytes);
    s.View().OnTimer();  // the finished client leaves the table

    // No client: the new port is served while the sheet stays open.
    const std::uint16_t first = s.port, second = FreeUdpPort();
    sheet = MakeSheet();
    sheet->Tabs()->setCurrentWidget(sheet->m_pOther);
    sheet->m_pOther->PortEdit()->setText(QString::number(second));
    sheet->OnApply();
    EXPECT_EQ(s.frame->windowTitle(), QString("Quaylon - 127.0.0.1.%1").arg(second));
    EXPECT_TRUE(CurlRead(second, "hello.bin") == bytes);
    EXPECT_TRUE(CurlRead(first, "hello.bin", 1).empty()) << "the old port no longer serves";
    s.View().OnTimer();

    // A client being served: the decision box asks, and "Drop Clients" moves the port.
    s.port = second;
    auto hanging = s.HangingRead();
    ASSERT_TRUE(hanging);
    const std::uint16_t third = FreeUdpPort();
    sheet->m_pOther->PortEdit()->setText(QString::number(third));
    sheet->OnApply();
    ASSERT_TRUE(s.app.m_pPortChangeDlg);
    CDecisionDlg* box = s.op.DialogOf(*s.app.m_pPortChangeDlg);
    ASSERT_TRUE(box && box->isVisible());
    EXPECT_TRUE(CurlRead(second, "hello.bin") == bytes) << "the old port serves until decided";
    box->accept();
    s.Pump();
    EXPECT_FALSE(s.app.m_pPortChangeDlg);
    EXPECT_TRUE(CurlRead(third, "hello.bin") == bytes);
    // --port had said this run only, the sheet says for good.
    s.app.SaveSettings();
    const std::string saved = ReadFile(s.config / "registry.reg");
    EXPECT_NE(saved.find("\"Port\"=\"" + std::to_string(third) + "\""), std::string::npos) << saved;
}

TEST_F(OptionsSheet, EveryPageAtThisScaleAndTwiceItShowsEveryTextWhole) {
    const int percent = static_cast<int>(qApp->devicePixelRatio() * 100 + 0.5);
    const std::filesystem::path dir =
        std::filesystem::current_path() / "sheet-shots" / std::to_string(percent);
    std::filesystem::create_directories(dir);
    std::cout << "screenshots in " << dir.string() << "\n";

    COptions sheet(s.app, s.frame.get());
    sheet.show();
    for (int i = 0; i < sheet.Tabs()->count(); ++i) {
        sheet.Tabs()->setCurrentIndex(i);
        s.Pump();
        const QString caption = sheet.Pages()[static_cast<std::size_t>(i)]->Caption();
        const QString name = QString("%1-%2.png").arg(i + 1).arg(caption).replace(' ', '-');
        EXPECT_TRUE(sheet.grab().save(QString::fromStdString((dir / name.toStdString()).string())));
        for (const std::string& text : ClippedTexts(&sheet)) {
            ADD_FAILURE() << caption.toStdString() << " at " << percent << "%: " << text;
        }
    }
    EXPECT_TRUE(s.frame->grab().save(QString::fromStdString((dir / "main-window.png").string())));
    sheet.close();

    // Twice the scale, as a desktop at 200% gives it, needs a process of its own.
    if (qEnvironmentVariableIsEmpty("QT_SCALE_FACTOR")) {
        QProcess twice;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("QT_SCALE_FACTOR", "2");
        twice.setProcessEnvironment(env);
        twice.setProcessChannelMode(QProcess::MergedChannels);
        twice.start(
            QCoreApplication::applicationFilePath(),
            {"--gtest_filter=OptionsSheet.EveryPageAtThisScaleAndTwiceItShowsEveryTextWhole"});
        ASSERT_TRUE(PumpUntil([&] { return twice.state() == QProcess::NotRunning; }, 60000));
        EXPECT_EQ(twice.exitCode(), 0) << twice.readAll().toStdString();
    }
}
