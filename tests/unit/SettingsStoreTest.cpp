#include <gtest/gtest.h>
#include <sys/stat.h>

#include <regex>

#include "support/ServerHarness.h"

namespace {

constexpr char kKeyLine[] = "[HKEY_CURRENT_USER\\Software\\Orrelin\\Quaylon]\n";

std::string Store(const std::string& values) {
    return std::string("Windows Registry Editor Version 5.00\n\n") + kKeyLine + values;
}

int CountMatches(const std::string& text, const std::string& pattern) {
    const std::regex re(pattern, std::regex::icase | std::regex::multiline);
    return static_cast<int>(
        std::distance(std::sregex_iterator(text.begin(), text.end(), re), std::sregex_iterator()));
}

class SettingsStore : public ::testing::Test {
  protected:
    // The harness serves on a port of this run only; these tests are about the stored one.
    SettingsStore() {
        app.m_ConfigDir = config.Path();
        app.m_bPortArg = 0;
    }
    std::string File() const { return config / "registry.reg"; }

    ServerHarness h;
    CServerApp& app = h.app;
    TempDir config;
};

}  // namespace

TEST_F(SettingsStore, FirstRunWritesEveryValueInOrder) {
    app.m_ConfigDir = config / "not/yet";
    app.LoadSettings();
    EXPECT_EQ(app.bShowAlert, 1u) << "no key: the start values stand";
    EXPECT_EQ(app.nPriority, 4u);

    app.m_AppPath = "/opt/q/quaylond";
    app.Port = "69";
    app.ForceFile = R"(a\b "c".bin)";
    app.LogFile = "Quaylon.log";
    app.SaveSettings();
    EXPECT_EQ(ReadFile(config / "not/yet/registry.reg"),
              Store("\"Location\"=\"/opt/q/quaylond\"\n\"InPath\"=\"" + h.in.Dir() +
                    "\"\n\"OutPath\"=\"" + h.out.Dir() +
                    "\"\n"
                    R"("Port"="69"
"Timeout"="30"
"ForceFile"="a\\b \"c\".bin"
"SysLogData"=""
"ADData"=""
"SysLogFlags"=dword:00000000
"IcmpFlags"=dword:00000000
"bForce"=dword:00000000
"bAllow"=dword:00000000
"bDeny"=dword:00000000
"bDisplay"=dword:00000001
"bDelete"=dword:0000070e
"nDefAddress"=dword:000000ff
"nSliders"=dword:00000064
"nPriority"=dword:00000004
"LogFile"="Quaylon.log"

)"));
    struct stat info {};
    ASSERT_EQ(stat((config / "not/yet").c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0700u);
    ASSERT_EQ(stat((config / "not/yet/registry.reg").c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600u);

    app.ForceFile.clear();
    app.LoadSettings();
    EXPECT_EQ(app.ForceFile, R"(a\b "c".bin)");
    EXPECT_EQ(app.m_StoredLocation, "/opt/q/quaylond");
}

TEST_F(SettingsStore, MissingValuesTakeTheirStandIns) {
    // Another key only: the members keep what they hold.
    WriteFile(File(), "Windows Registry Editor Version 5.00\n\n[HKEY_CURRENT_USER\\Other]\n");
    app.bShowAlert = 0;
    app.Port = "1234";
    app.LoadSettings();
    EXPECT_EQ(app.bShowAlert, 0u);
    EXPECT_EQ(app.Port, "69");

    // A text that would not fit the reader's 1000-byte buffer counts as missing.
    WriteFile(File(), Store("\"Timeout\"=\"12\"\n\"ForceFile\"=\"" + std::string(999, 'f') +
                            "\"\n\"InPath\"=\"" + std::string(1000, 'i') + "\"\n"));
    app.InPath = "/keep/";
    app.Port = "1234";
    app.nDefAddress = 2;
    app.m_StoredLocation = "/old";
    app.LoadSettings();
    EXPECT_EQ(app.Timeout, "12");
    EXPECT_EQ(app.ForceFile, std::string(999, 'f'));
    EXPECT_EQ(app.InPath, "/keep/");
    EXPECT_EQ(app.Port, "69");
    EXPECT_EQ(app.nDefAddress, 255u);
    EXPECT_EQ(app.m_StoredLocation, "");
    EXPECT_EQ(app.nPriority, 255u);
    EXPECT_EQ(app.bDisplay, 0u);
    EXPECT_EQ(app.nMaxClientsPos, 4u);
    EXPECT_EQ(app.nMaxDisplayPos, 6u);
    // bDelete stands in as 0x2000: no incoming, the three inverted flags on, the rest off.
    EXPECT_EQ(
        (std::vector<std::uint32_t>{app.bNoIncoming, app.bShowMultihomed, app.bPreventAutoRestart,
                                    app.bOutboundPaths, app.bShowAlert, app.bAllowTsize}),
        (std::vector<std::uint32_t>{1, 1, 1, 1, 0, 0}));
}

TEST_F(SettingsStore, LoadThenSaveKeepsEveryWordAndForeignLines) {
    const std::string foreign =
        "; kept by hand\n[HKEY_CURRENT_USER\\Software\\Orrelin\\Other]\n"
        "\"Blob\"=hex:01,02,\\\n  03\n\"Gone\"=-\n\n";
    WriteFile(File(), "Windows Registry Editor Version 5.00\n\n" + foreign + kKeyLine +
                          "\"bDelete\"=dword:ffffffff\n\"nSliders\"=dword:00001234\n"
                          "\"IcmpFlags\"=dword:8000000f\n\"nDefAddress\"=dword:00000003\n"
                          "\"SysLogData\"=\"syslog:514\"\n\"nPriority\"=dword:00000002\n");
    app.LoadSettings();
    EXPECT_EQ(app.nMaxClientsPos, 4u);
    EXPECT_EQ(app.nMaxDisplayPos, 3u);
    EXPECT_EQ(app.bDeleteAfterSend, 1u);
    EXPECT_EQ(app.bOutboundPaths, 0u);
    app.SaveSettings();

    const std::string saved = ReadFile(File());
    EXPECT_NE(saved.find(foreign), std::string::npos);
    EXPECT_EQ(CountMatches(saved, R"(^"bDelete"=dword:003ff7fe$)"), 1) << saved;
    EXPECT_EQ(CountMatches(saved, R"(^"nSliders"=dword:00000034$)"), 1);
    EXPECT_EQ(CountMatches(saved, R"(^"IcmpFlags"=dword:8000000f$)"), 1);
    EXPECT_EQ(CountMatches(saved, R"(^"nDefAddress"=dword:00000003$)"), 1);
    EXPECT_EQ(CountMatches(saved, R"(^"SysLogData"="syslog:514"$)"), 1);
    EXPECT_EQ(CountMatches(saved, R"(^"nPriority"=dword:00000002$)"), 1);
}

TEST_F(SettingsStore, ValueNamesIgnoreCase) {
    WriteFile(File(), Store("\"logfile\"=\"mine.log\"\n\"Port\"=\"1\"\n\"PORT\"=\"6969\"\n"));
    app.LoadSettings();
    EXPECT_EQ(app.LogFile, "mine.log");
    EXPECT_EQ(app.Port, "6969") << "the last of two entries counts";

    app.LogFile = "other.log";
    app.SaveSettings();
    const std::string saved = ReadFile(File());
    EXPECT_EQ(CountMatches(saved, "^\"logfile\"="), 1) << saved;
    EXPECT_EQ(CountMatches(saved, "^\"logfile\"=\"other.log\"$"), 1);
    EXPECT_EQ(CountMatches(saved, "^\"port\"="), 1);
}

TEST_F(SettingsStore, ValuesOfThisRunOnlyLeaveTheStoredOnes) {
    WriteFile(File(), Store("\"InPath\"=\"/s/in/\"\n\"OutPath\"=\"/s/out/\"\n\"Port\"=\"6969\"\n"));
    app.Port = "7000";
    app.m_bPortArg = 1;
    app.LoadSettings();
    EXPECT_EQ(app.Port, "7000");
    app.InPath = "/run/in/";
    app.m_bInPathArg = 1;
    app.OutPath = "/run/out/";
    app.m_bOutPathArg = 1;
    app.Timeout = "9";
    app.SaveSettings();

    app.m_bInPathArg = app.m_bOutPathArg = app.m_bPortArg = 0;
    app.LoadSettings();
    EXPECT_EQ(app.InPath, "/s/in/");
    EXPECT_EQ(app.OutPath, "/s/out/");
    EXPECT_EQ(app.Port, "6969");
    EXPECT_EQ(app.Timeout, "9");
}

TEST_F(SettingsStore, UnreadableFileIsReportedOnceAndSetAside) {
    const std::string bad = Store("\"Port\"=\"6969\n");
    WriteFile(File(), bad);
    app.bShowAlert = 0;
    ::testing::internal::CaptureStderr();
    app.LoadSettings();
    int rect[4];
    std::uint32_t bMin;
    int cols[6];
    app.LoadWindowPlacement(rect, &bMin, &cols[0], &cols[1], &cols[2], &cols[3], &cols[4],
                            &cols[5]);
    const std::string report = ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(CountMatches(report, "settings file"), 1) << report;
    EXPECT_NE(report.find(File()), std::string::npos);
    EXPECT_EQ(app.Port, "69");
    EXPECT_EQ(app.bShowAlert, 0u) << "as if there were no key";

    app.Timeout = "17";
    app.SaveSettings();
    EXPECT_EQ(ReadFile(File() + ".bad"), bad);
    app.LoadSettings();
    EXPECT_EQ(app.Timeout, "17") << "the new file is read";

    // An older set-aside file is never overwritten.
    WriteFile(File(), "garbage\n");
    ::testing::internal::CaptureStderr();
    app.SaveSettings();
    ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(ReadFile(File() + ".bad"), bad);
    EXPECT_EQ(ReadFile(File() + ".bad.1"), "garbage\n");
}

TEST_F(SettingsStore, WindowPlacement) {
    int rect[4] = {};
    std::uint32_t bMin = 9;
    int c[6];
    auto load = [&] {
        return app.LoadWindowPlacement(rect, &bMin, &c[0], &c[1], &c[2], &c[3], &c[4], &c[5]);
    };
    const std::vector<int> defaults{150, 120, 80, 90, 90, 110};
    app.bMinimizeAtStartup = 1;
    EXPECT_EQ(load(), 0);
    EXPECT_EQ(std::vector<int>(c, c + 6), defaults);
    EXPECT_EQ(bMin, 1u);

    app.SaveSettings();
    SaveWindowPlacement(10, 20, 810, 620, 0, 200, 1, 2, 3, 4, 5);
    SaveWindowPlacement(-5, 30, 700, 500, 0, -1, -1, -1, -1, -1, -1);
    EXPECT_EQ(load(), 1);
    EXPECT_EQ(std::vector<int>(rect, rect + 4), (std::vector<int>{-5, 30, 700, 500}));
    EXPECT_EQ(std::vector<int>(c, c + 6), (std::vector<int>{200, 1, 2, 3, 4, 5}));
    app.Port.clear();
    app.LoadSettings();
    EXPECT_EQ(app.Port, std::to_string(h.port)) << "the other values stay beside the window's";

    // A first column as wide as the window throws all six widths away.
    SaveWindowPlacement(0, 0, 300, 200, 0, 300, 1, 2, 3, 4, 5);
    EXPECT_EQ(load(), 1);
    EXPECT_EQ(std::vector<int>(c, c + 6), defaults);

    // A missing value repeats the one read before it.
    WriteFile(File(), Store("\"WinLeft\"=dword:00000007\n\"WinRight\"=dword:00000190\n"
                            "\"Col1\"=dword:00000032\n\"Col3\"=dword:00000021\n"));
    EXPECT_EQ(load(), 1);
    EXPECT_EQ(std::vector<int>(rect, rect + 4), (std::vector<int>{7, 7, 400, 400}));
    EXPECT_EQ(std::vector<int>(c, c + 6), (std::vector<int>{50, 50, 33, 33, 33, 33}));
}
