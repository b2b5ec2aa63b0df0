#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "extras/VersionCheck.h"
#include "platform/EpollLoop.h"
#include "settings/Settings.h"
#include "support/LoopbackHttpServer.h"
#include "support/TempDir.h"

namespace {

using Lines = std::vector<std::string>;

class RecordingView : public VersionView {
  public:
    void AddProgressText(const std::string& text) override { lines.push_back(text); }
    void EnableDownload(bool bEnable) override { bDownload = bEnable; }
    void ShowProgress(std::uint32_t nRange) override { range = nRange; }
    void SetProgress(std::uint32_t) override {}
    bool AskYesNo(const std::string& question) override { return boxes.push_back(question), true; }
    void ShowInformation(const std::string& text) override { boxes.push_back(text); }

    Lines lines, boxes;
    bool bDownload = false;
    std::uint32_t range = 0;
};

// One run of the dialog against a loopback server; the program lives in dir, the autostart
// entries under config.
struct VersionRun {
    explicit VersionRun(std::vector<std::string> responses) : server(std::move(responses)) {
        setenv("QUAYLON_UPDATE_SERVER", server.Address().c_str(), 1);
        setenv("XDG_CONFIG_HOME", config.Path().c_str(), 1);
        settings.m_AppPath = dir / "quaylon";
    }
    ~VersionRun() { unsetenv("QUAYLON_UPDATE_SERVER"); }

    // Runs the loop until the server has closed `closes` connections, bounded in rounds.
    bool PumpUntilClosed(long closes) {
        for (int round = 0; round < 400; ++round) {
            if (std::count(view.lines.begin(), view.lines.end(), "Connection with server closed") >=
                closes) {
                return true;
            }
            loop.RunOnce(25);
        }
        return false;
    }

    TempDir dir, config;
    LoopbackHttpServer server;
    EpollLoop loop;
    RecordingView view;
    CSettings settings;
    CVersionCheck check{loop, view, settings};
};

}  // namespace

TEST(VersionCheck, ReadsVersionsAsDecimalFractionsAndTheServerFromTheEnvironment) {
    // Against the running 3.80: equal, newer, 3.1, 8.1, no dot, nothing.
    const char* latest[] = {"3.8", "Quaylon V3.81", "3.100", "3.8.1", "V4", ""};
    const bool bNewer[] = {false, true, false, true, false, false};
    for (int i = 0; i < 6; ++i) {
        EXPECT_EQ(IsNewerVersion(kRunningVersion, latest[i]), bNewer[i]) << latest[i];
    }
    EXPECT_EQ(TheUpdateServer().host + ":" + std::to_string(TheUpdateServer().port),
              std::string(kUpdateServerName) + ":80");
}

TEST(VersionCheck, NewerPageIsReadAndItsDownloadInstalledUnlessAutoRestartIsPrevented) {
    const std::string page =
        "<!Note=Faster><!current version=Quaylon V3.81><!AVAILABLE FROM=/get/new.bin>"
        "<!Note=Read me><!SiZe=4 bytes>";
    for (bool bPrevent : {false, true}) {
        VersionRun run({HttpResponse(page), HttpResponse("new!")});
        run.settings.bPreventAutoRestart = bPrevent ? 1 : 0;
        run.check.OnInitDialog();
        ASSERT_TRUE(run.PumpUntilClosed(1));
        EXPECT_EQ(run.view.lines,
                  (Lines{"Attempting connection to server ...",
                         "Connected to server, getting data ...", "Connection with server closed",
                         "Faster", "Read me", "Latest Version : Quaylon V3.81", "Size : 4"}));
        ASSERT_TRUE(run.view.bDownload);
        run.check.OnDownload();
        EXPECT_FALSE(run.view.bDownload);
        EXPECT_EQ(run.view.range, 4u);
        ASSERT_TRUE(run.PumpUntilClosed(2));

        const std::string host = "Host: " + run.server.Address() + "\r\nAccept : */*\r\n\r\n";
        EXPECT_EQ(run.server.Requests(), (Lines{"GET /version.htm HTTP/1.1\r\n" + host,
                                                "GET /get/new.bin HTTP/1.1\r\n" + host}));
        EXPECT_EQ(run.view.lines.back(),
                  "File received, " + std::to_string(HttpResponse("new!").size()) + " bytes long");
        EXPECT_EQ(ReadFile(run.dir / "NewQuaylon.exe"), "new!");
        EXPECT_FALSE(FileExists(run.dir / "NewQuaylon.tmp"));
        EXPECT_EQ(run.view.boxes,
                  (Lines{"Do you want to install the new version now ?",
                         "Please close Quaylon and then close Windows to install the new "
                         "software"}));
        EXPECT_EQ(FileExists(run.config / "autostart/NewQuaylon.desktop"), !bPrevent);
    }
}

TEST(VersionCheck, PagesThatOfferNoDownload) {
    const std::string offline = "Version checking is currently offline, please try later";
    std::string exact = HttpResponse("<!Current Version=3.80><!size=7>");
    exact += std::string(8192 - exact.size(), ' ');
    const std::pair<std::string, Lines> cases[] = {
        {"", {offline}},
        {HttpResponse("<html>Not Found</html>"), {offline}},
        {HttpResponse("<!Current Version=3.8>"), {"Latest Version : 3.8", "Size : 0"}},
        // A value without its ">" runs to the end of what came.
        {HttpResponse("<!Current Version=3.80 beta"), {"Latest Version : 3.80 beta", "Size : 0"}},
        // Exactly the buffer's size: one reset, and the tags in front are still read.
        {exact, {"Latest Version : 3.80", "Size : 7"}},
    };
    for (const auto& [response, after] : cases) {
        VersionRun run({response});
        run.check.OnInitDialog();
        ASSERT_TRUE(run.PumpUntilClosed(1));
        Lines expected = {"Connection with server closed"};
        expected.insert(expected.end(), after.begin(), after.end());
        const auto close = std::find(run.view.lines.begin(), run.view.lines.end(), expected[0]);
        EXPECT_EQ(Lines(close, run.view.lines.end()), expected) << response.substr(0, 60);
        EXPECT_EQ(std::count(run.view.lines.begin(), run.view.lines.end(),
                             "Resetting extra length buffer"),
                  response == exact ? 1 : 0);
        EXPECT_FALSE(run.view.bDownload);
    }
}

TEST(VersionCheck, DownloadOfTheWrongLengthIsNotOffered) {
    const std::pair<std::string, bool> cases[] = {
        // The response, and whether the body was cut out and the temporary file removed.
        {HttpResponse("0123456789", -1), false},  // no "Content-Length: "
        {"HTTP/1.1 200 OK\r\ncontent-length: 10\r\n\r\n0123456789", false},
        {HttpResponse("0123456789", 4000), false},  // more promised than came
        {HttpResponse("0123456"), true},            // shorter than the page says
        {HttpResponse("0123456789abc"), true},      // longer
    };
    for (const auto& [response, bCut] : cases) {
        VersionRun run(
            {HttpResponse("<!Current Version=9.0><!Available From=/f><!Size=10>"), response});
        run.check.OnInitDialog();
        ASSERT_TRUE(run.PumpUntilClosed(1));
        run.check.OnDownload();
        ASSERT_TRUE(run.PumpUntilClosed(2));
        EXPECT_EQ(Lines(run.view.lines.end() - 2, run.view.lines.end()),
                  (Lines{"File received, " + std::to_string(response.size()) + " bytes long",
                         "This is NOT the length expected, please contact Orrelin"}));
        EXPECT_TRUE(run.view.boxes.empty());
        EXPECT_EQ(FileExists(run.dir / "NewQuaylon.tmp"), !bCut) << response;
        if (bCut) {
            EXPECT_EQ(ReadFile(run.dir / "NewQuaylon.exe"),
                      response.substr(response.find("\r\n\r\n") + 4));
        }
    }
}
