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
constexpr char kClosed[] = "Connection with server closed";

class RecordingView : public VersionView {
  public:
    void AddProgressText(const std::string& text) override { lines.push_back(text); }
    void EnableDownload(bool bEnable) override { enabled.push_back(bEnable); }
    void ShowProgress(std::uint32_t) override {}
    void SetProgress(std::uint32_t) override {}
    bool AskYesNo(const std::string& question) override { return boxes.push_back(question), false; }
    void ShowInformation(const std::string& text) override { boxes.push_back(text); }

    Lines lines, boxes;
    std::vector<bool> enabled;
};

// One run of the dialog against a loopback server; the program lives in dir.
struct VersionRun {
    explicit VersionRun(std::vector<std::string> responses) : server(std::move(responses)) {
        setenv("QUAYLON_UPDATE_SERVER", server.Address().c_str(), 1);
        settings.m_AppPath = dir / "quaylon";
    }
    ~VersionRun() { unsetenv("QUAYLON_UPDATE_SERVER"); }

    // The check and, if it offers one, the download; false unless the server closed each.
    bool Run() {
        check.OnInitDialog();
        return PumpUntilClosed(1) &&
               (view.enabled.empty() || (check.OnDownload(), PumpUntilClosed(2)));
    }

    // Runs the loop until the server has closed `closes` connections, bounded in rounds.
    bool PumpUntilClosed(long closes) {
        for (int round = 0; round < 400; ++round, loop.RunOnce(25)) {
            if (std::count(view.lines.begin(), view.lines.end(), kClosed) >= closes) {
                return true;
            }
        }
        return false;
    }

    TempDir dir;
    LoopbackHttpServer server;
    EpollLoop loop;
    RecordingView view;
    CSettings settings;
    CVersionCheck check{loop, view, settings};
};

}  // namespace

TEST(VersionCheck, VersionsReadAsFractionsAndPagesWithNoOrAWrongLengthDownload) {
    // Against the running 3.80: equal, newer, 3.1, 8.1, no dot, nothing.
    const char* latest[] = {"3.8", "Quaylon V3.81", "3.100", "3.8.1", "V4", ""};
    const bool bNewer[] = {false, true, false, true, false, false};
    for (int i = 0; i < 6; ++i) {
        EXPECT_EQ(IsNewerVersion(kRunningVersion, latest[i]), bNewer[i]) << latest[i];
    }
    EXPECT_EQ(TheUpdateServer().host + ":" + std::to_string(TheUpdateServer().port),
              std::string(kUpdateServerName) + ":80");

    std::string exact = HttpResponse("<!Current Version=3.80><!size=7>");
    exact += std::string(8192 - exact.size(), ' ');
    const std::pair<std::string, Lines> pages[] = {
        {HttpResponse("<html>Not Found</html>"),
         {kClosed, "Version checking is currently offline, please try later"}},
        // A value without its ">" runs to the end of what came.
        {HttpResponse("<!Current Version=3.80 beta"),
         {kClosed, "Latest Version : 3.80 beta", "Size : 0"}},
        // Exactly the buffer's size: one reset, and the tags in front are still read.
        {exact, {"Resetting extra length buffer", kClosed, "Latest Version : 3.80", "Size : 7"}},
    };
    for (const auto& [response, after] : pages) {
        VersionRun run({response});
        ASSERT_TRUE(run.Run());
        EXPECT_EQ(Lines(run.view.lines.begin() + 2, run.view.lines.end()), after);
        EXPECT_TRUE(run.view.enabled.empty());
    }

    const std::pair<std::string, bool> cases[] = {
        // The response, and whether the body was cut out and the temporary file removed.
        {"HTTP/1.1 200 OK\r\ncontent-length: 10\r\n\r\n0123456789", false},
        {"HTTP/1.1 200 OK\r\nContent-Length: 4000\r\n\r\n0123456789", false},  // more promised
        {HttpResponse("0123456"), true},                                       // shorter
        {HttpResponse("0123456789abc"), true},                                 // longer
    };
    for (const auto& [response, bCut] : cases) {
        VersionRun run(
            {HttpResponse("<!Current Version=9.0><!Available From=/f><!Size=10>"), response});
        ASSERT_TRUE(run.Run());
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
