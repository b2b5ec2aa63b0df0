#include <gtest/gtest.h>
#include <unistd.h>

#include <array>

#include <QCheckBox>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QRadioButton>
#include <QSlider>
#include <QTabWidget>

#include "GuiServer.h"
#include "console/qt/AddressPage.h"
#include "console/qt/ClientsPage.h"
#include "console/qt/DirectoryPages.h"
#include "console/qt/ICMPEnable.h"
#include "console/qt/Options.h"
#include "console/qt/OtherPage.h"
#include "console/qt/ThreadsPage.h"
#include "server/ListenSocket.h"

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

void Open(COptions& sheet, QWidget* page) {
    sheet.Tabs()->setCurrentWidget(page);
}

// The server with the sheet made as Setup makes it, before it runs.
class OptionsSheet : public testing::Test {
  protected:
    void SetUp() override { ASSERT_TRUE(s.Start()); }
    std::unique_ptr<COptions> MakeSheet() { return std::make_unique<COptions>(s.app); }

    GuiServer s;
};

}  // namespace

TEST_F(OptionsSheet, EveryPageShowsItsSettingsAndStoresTheControls) {
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
    for (COptionsPage* page : sheet->Pages()) {
        Open(*sheet, page);
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
}

TEST_F(OptionsSheet, OnlyOpenedPagesStoreAndCancelKeepsWhatApplyStored) {
    s.app.nPriority = 4;
    s.app.IcmpFlags = 0x8000;
    s.app.ADData = s.config / "rules.dat";
    auto sheet = MakeSheet();
    QCheckBox* create = Box(sheet->m_pInbound, "Create paths as needed");
    create->click();
    EXPECT_FALSE(sheet->ApplyButton()->isEnabled()) << "this box does not mark the page";
    sheet->OnApply();
    EXPECT_EQ(s.app.bCreatePaths, 1);
    create->click();
    sheet->reject();
    EXPECT_EQ(s.app.bCreatePaths, 1) << "Cancel undoes nothing Apply stored, stores nothing new";
    EXPECT_EQ(s.app.nPriority, 4u);
    EXPECT_EQ(s.app.IcmpFlags, 0x8000u);
    EXPECT_FALSE(FileExists(s.app.ADData)) << "the rule pages were never opened";

    // The threads page accepted without a click turns the unset 4 into Automatic.
    sheet = MakeSheet();
    Open(*sheet, sheet->m_pThreads);
    sheet->OnApply();
    EXPECT_EQ(s.app.nPriority, 3u);
}

TEST_F(OptionsSheet, DuplicateBoxesExcludeEachOther) {
    s.app.bRenameDuplicate = 1;
    s.app.bRenameExisting = 1;
    s.app.bRejectDuplicate = 1;  // as a store may hold it
    auto sheet = MakeSheet();
    QCheckBox* rename = Box(sheet->m_pInbound, "Rename duplicate files");
    QCheckBox* existing = Box(sheet->m_pInbound, "Rename Existing");
    QCheckBox* reject = Box(sheet->m_pInbound, "Reject Duplicate Files");
    // Checked, checked, enabled, checked.
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
}

TEST_F(OptionsSheet, RefusedAndEmptyDirectories) {
    const std::string oldIn = s.app.InPath;
    auto sheet = MakeSheet();
    Open(*sheet, sheet->m_pOutbound);
    Open(*sheet, sheet->m_pOther);
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

TEST_F(OptionsSheet, AddressEntryMakesRulesAndTheFileFollowsAtOnce) {
    s.app.ADData = s.config / "rules.dat";
    s.app.m_DenyList = {"10.0.0.1"};
    auto sheet = MakeSheet();
    CAddressPage* allow = sheet->m_pAllow;
    Open(*sheet, allow);
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
    Open(*sheet, sheet->m_pDeny);
    sheet->m_pDeny->Switch()->click();
    sheet->OnApply();
    s.app.m_AllowList.clear();
    s.app.m_DenyList.clear();
    s.app.LoadRules();
    EXPECT_EQ(s.app.m_AllowList, std::list<std::string>{"127.0.0.*"});
    EXPECT_EQ(s.app.m_DenyList, std::list<std::string>{"10.0.0.1"});
    EXPECT_EQ(s.app.bDeny, 1u);
}
