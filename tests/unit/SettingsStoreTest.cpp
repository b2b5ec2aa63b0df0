#include <gtest/gtest.h>

#include <filesystem>
#include <regex>

#include "console/WindowPlacement.h"
#include "settings/RegistryFile.h"
#include "support/StoredPlacement.h"
#include "support/TempDir.h"

namespace {

constexpr char kHeader[] = "Windows Registry Editor Version 5.00\n\n";
constexpr char kKeyLine[] = "[HKEY_CURRENT_USER\\Software\\Orrelin\\Quaylon]\n";
constexpr char kHive[] = "HKEY_CURRENT_USER";
constexpr char kKey[] = "Software\\Orrelin\\Quaylon";

std::string Store(const std::string& values) {
    return kHeader + (kKeyLine + values);
}

// How many lines of the text match the pattern, names compared in any case.
int CountLines(const std::string& text, const std::string& pattern) {
    const std::regex re("^" + pattern + "$", std::regex::icase | std::regex::multiline);
    return static_cast<int>(
        std::distance(std::sregex_iterator(text.begin(), text.end(), re), std::sregex_iterator()));
}

class SettingsStore : public ::testing::Test {
  protected:
    SettingsStore() {
        app.m_ConfigDir = config.Path();
        app.InPath = "/srv/in/";
        app.OutPath = "/srv/out/";
    }
    std::string File() const { return config / "registry.reg"; }

    TempDir config;
    CSettings app;
};

}  // namespace

TEST_F(SettingsStore, FirstRunWritesEveryValueInOrder) {
    app.m_ConfigDir = config / "not/yet";
    app.LoadSettings();
    EXPECT_EQ(app.nPriority, 4u) << "no key: the start values stand";

    app.m_AppPath = "/opt/q/quaylond";
    app.ForceFile = R"(a\b "c".bin)";
    app.LogFile = "Quaylon.log";
    app.SaveSettings();
    EXPECT_EQ(ReadFile(config / "not/yet/registry.reg"), Store(R"("Location"="/opt/q/quaylond"
"InPath"="/srv/in/"
"OutPath"="/srv/out/"
"Port"="69"
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
    using std::filesystem::perms;
    EXPECT_EQ(std::filesystem::status(config / "not/yet").permissions(), perms::owner_all);
    EXPECT_EQ(std::filesystem::status(config / "not/yet/registry.reg").permissions(),
              perms::owner_read | perms::owner_write);

    app.ForceFile.clear();
    app.LoadSettings();
    EXPECT_EQ(app.ForceFile, R"(a\b "c".bin)");
    EXPECT_EQ(app.m_StoredLocation, "/opt/q/quaylond");
}

TEST_F(SettingsStore, MissingValuesTakeTheirStandIns) {
    // A text that would not fit the reader's 1000-byte buffer counts as missing.
    WriteFile(File(), Store("\"Timeout\"=\"12\"\n\"ForceFile\"=\"" + std::string(999, 'f') +
                            "\"\n\"InPath\"=\"" + std::string(1000, 'i') + "\"\n"));
    app.InPath = "/keep/";
    app.Port = "1234";
    app.nDefAddress = 2;
    app.LoadSettings();
    EXPECT_EQ(app.Timeout, "12");
    EXPECT_EQ(app.ForceFile, std::string(999, 'f'));
    EXPECT_EQ(app.InPath, "/keep/");
    EXPECT_EQ(app.Port, "69");
    EXPECT_EQ(app.nDefAddress, 255u);
    EXPECT_EQ(app.nPriority, 255u);
    EXPECT_EQ(app.bDisplay, 0u);
    EXPECT_EQ(app.nMaxDisplayPos, 6u);
    // bDelete stands in as 0x2000: no incoming, the three inverted flags on, the rest off.
    EXPECT_EQ(
        (std::vector<std::uint32_t>{app.bNoIncoming, app.bShowMultihomed, app.bPreventAutoRestart,
                                    app.bOutboundPaths, app.bShowAlert, app.bNoOutbound}),
        (std::vector<std::uint32_t>{1, 1, 1, 1, 0, 0}));
}

TEST_F(SettingsStore, LoadThenSaveKeepsEveryWordForeignLinesAndTheNamesCase) {
    const std::string foreign =
        "; kept by hand\n[HKEY_CURRENT_USER\\Software\\Orrelin\\Other]\n"
        "\"Blob\"=hex:01,02,\\\n  03\n\"Gone\"=-\n\n";
    WriteFile(File(), kHeader + foreign + kKeyLine +
                          "\"bDelete\"=dword:ffffffff\n\"nSliders\"=dword:00001234\n"
                          "\"IcmpFlags\"=dword:8000000f\n\"nDefAddress\"=dword:00000003\n"
                          "\"SysLogData\"=\"syslog:514\"\n\"logfile\"=\"mine.log\"\n"
                          "\"Port\"=\"1\"\n\"PORT\"=\"6969\"\n\"InPath\"=\"/s/in/\"\n");
    app.LoadSettings();
    EXPECT_EQ(app.nMaxClientsPos, 4u);
    EXPECT_EQ(app.nMaxDisplayPos, 3u);
    EXPECT_EQ(app.bDeleteAfterSend, 1u);
    EXPECT_EQ(app.bOutboundPaths, 0u);
    EXPECT_EQ(app.LogFile, "mine.log");
    EXPECT_EQ(app.Port, "6969") << "the last of two entries counts";

    // Values given for this run only leave the stored ones.
    app.LogFile = "other.log";
    app.InPath = "/run/in/";
    app.m_bInPathArg = 1;
    app.Port = "7000";
    app.m_bPortArg = 1;
    app.SaveSettings();
    const std::string saved = ReadFile(File());
    EXPECT_NE(saved.find(foreign), std::string::npos) << saved;
    for (const char* line : {R"("bDelete"=dword:003ff7fe)", R"("nSliders"=dword:00000034)",
                             R"("IcmpFlags"=dword:8000000f)", R"("nDefAddress"=dword:00000003)",
                             R"("SysLogData"="syslog:514")", R"("logfile"="other.log")",
                             R"("logfile"=.*)", R"("port"="6969")", R"("InPath"="/s/in/")"}) {
        EXPECT_EQ(CountLines(saved, line), 1) << line;
    }
}

TEST_F(SettingsStore, UnreadableFileIsReportedOnceAndSetAside) {
    const std::string bad = Store("\"Port\"=\"6969\n");
    WriteFile(File(), bad);
    app.bShowAlert = 0;
    ::testing::internal::CaptureStderr();
    app.LoadSettings();
    LoadPlacement(app);
    const std::string report = ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(CountLines(report, ".*settings file.*"), 1) << report;
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

TEST_F(SettingsStore, WindowPlacementIsStoredAndPlacedAndEachFlagBitLoadsItsOwnMember) {
    const std::array<int, 6> defaults{150, 120, 80, 90, 90, 110};
    app.bMinimizeAtStartup = 1;
    EXPECT_EQ(LoadPlacement(app), (StoredPlacement{0, {}, 1, defaults}));

    app.SaveSettings();
    app.SaveWindowPlacement(-5, 30, 700, 500, 0, 200, 1, 2, 3, 4, 5);
    EXPECT_EQ(LoadPlacement(app),
              (StoredPlacement{1, {-5, 30, 700, 500}, 1, {200, 1, 2, 3, 4, 5}}));
    app.OutPath.clear();
    app.LoadSettings();
    EXPECT_EQ(app.OutPath, "/srv/out/") << "the other values stay beside the window's";

    // A first column as wide as the window throws all six widths away.
    app.SaveWindowPlacement(0, 0, 300, 200, 0, 300, 1, 2, 3, 4, 5);
    EXPECT_EQ(LoadPlacement(app), (StoredPlacement{1, {0, 0, 300, 200}, 1, defaults}));

    // A missing value repeats the one read before it.
    WriteFile(File(), Store("\"WinLeft\"=dword:00000007\n\"WinRight\"=dword:00000190\n"
                            "\"Col1\"=dword:00000032\n\"Col3\"=dword:00000021\n"));
    EXPECT_EQ(LoadPlacement(app),
              (StoredPlacement{1, {7, 7, 400, 400}, 1, {50, 50, 33, 33, 33, 33}}));

    // A window off every screen comes back onto the first.
    const std::vector<Rect> screens = {{0, 0, 1920, 1080}, {1920, 0, 3200, 1024}};
    // Where the window can be taken hold of it stays, on either screen and across both.
    for (const Rect& shown : {Rect{100, 50, 900, 550}, Rect{2000, 10, 2600, 400},
                              Rect{1700, 0, 2300, 500}, Rect{-700, 100, 100, 500}}) {
        EXPECT_EQ(PlaceOnScreens(shown, screens), shown);
    }
    // A screen since removed, a caption above the desktop, a window larger than the screen.
    EXPECT_EQ(PlaceOnScreens({4000, 200, 4800, 700}, screens), (Rect{1120, 200, 1920, 700}));
    EXPECT_EQ(PlaceOnScreens({300, -400, 1100, 100}, screens), (Rect{300, 0, 1100, 500}));
    EXPECT_EQ(PlaceOnScreens({-5000, -5000, 0, 0}, screens), (Rect{0, 0, 1920, 1080}));

    // In bit order from 0x2 up, 0x800 unused; the three at 0x100-0x400 are stored inverted.
    const auto flags = [](const CSettings& s) {
        return std::vector<unsigned>{
            s.bShowAlert,          s.bAllowTsize,     s.bAllowTimeout,      s.bNoSplash,
            s.bRaisePriority,      s.bUseGraphic,     s.bMinimizeAtStartup, s.bShowMultihomed,
            s.bPreventAutoRestart, s.bOutboundPaths,  s.bNoOutbound,        s.bNoIncoming,
            s.bUseTaskbar,         s.bSkipRetry,      s.bInboundPaths,      s.bCreatePaths,
            s.bRenameDuplicate,    s.bRenameExisting, s.bRejectDuplicate,   s.bDeleteAfterSend};
    };
    std::vector<unsigned> none(20, 0);
    none[7] = none[8] = none[9] = 1;
    for (int i = 0; i < 20; ++i) {
        const std::uint32_t bit = 0x2u << (i < 10 ? i : i + 1);
        char line[64];
        std::snprintf(line, sizeof line, "\"bDelete\"=dword:%08x", bit);
        WriteFile(File(), Store(line + std::string("\n")));
        app.LoadSettings();
        std::vector<unsigned> expected = none;
        expected[static_cast<std::size_t>(i)] ^= 1;
        EXPECT_EQ(flags(app), expected) << line;
        app.SaveSettings();
        EXPECT_EQ(CountLines(ReadFile(File()), line), 1) << "and saves back to the same bit";
    }
}

TEST(RegistryFile, ReadsWhatRegistryExportsHoldAndNothingOfMalformedFiles) {
    TempDir dir;
    WriteFile(dir / "r.reg",
              "\xEF\xBB\xBFREGEDIT4\r\n\r\n"
              "[hkey_current_user\\software\\orrelin\\quaylon\\Sub]\r\n"
              "[HKEY_CURRENT_USER\\Software\\Orrelin\\Quaylon]\r\n"
              "\"Bin\"=hex(7):41,00,\\\r\n  00,00\r\n"
              "  \"Port\" = \"69\"  \r\n"
              "\"bDelete\"=DWORD:ABCD\r\n"
              "\"Odd \\\"name\\\\\"=\"x\"\r\n");
    RegistryFile store(dir / "r.reg", kHive);
    EXPECT_TRUE(store.KeyExists(kKey));
    EXPECT_FALSE(store.KeyExists("Software\\Orrelin\\Quay"));
    EXPECT_EQ(store.ReadText(kKey, "Port"), "69");
    EXPECT_EQ(store.ReadDword(kKey, "bDelete"), 0xABCDu);
    EXPECT_EQ(store.ReadText(kKey, "odd \"NAME\\"), "x");
    EXPECT_EQ(store.ReadDword(kKey, "Port"), std::nullopt) << "a text is no dword";
    // A line break has no form in the syntax: the write is refused, the stored text stays.
    EXPECT_FALSE(store.WriteText(kKey, "Port", "6\n9"));
    EXPECT_EQ(store.ReadText(kKey, "Port"), "69");

    // Malformed files hold no key; setting them aside is the settings store's test.
    for (const std::string& text : {
             kKeyLine + std::string("\"Port\"=\"69\"\n"),  // no header
             Store("\"Port\"=\"6\\9\"\n"),                 // unknown escape
             Store("\"bDelete\"=dword:123456789\n"),       // nine digits
             Store("\"Blob\"=hex:01,\\\n"),                // ends inside a value
         }) {
        const std::string path = dir / std::to_string(text.size());  // each file reported once
        WriteFile(path, text);
        ::testing::internal::CaptureStderr();
        RegistryFile store(path, kHive);
        EXPECT_NE(::testing::internal::GetCapturedStderr(), "") << text;
        EXPECT_FALSE(store.KeyExists(kKey)) << text;
    }
}
