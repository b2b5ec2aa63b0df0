#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>

#include "platform/SessionState.h"
#include "support/ServerHarness.h"

namespace {

// The Exec line of a desktop entry with its string escapes undone and "%%" made '%': what is
// left quotes as sh does inside double quotes, so sh can run it.
std::string ExecCommand(const std::string& entry) {
    const std::size_t at = entry.find("\nExec=") + 6;
    const std::string exec = entry.substr(at, entry.find('\n', at) - at);
    std::string command;
    for (std::size_t i = 0; i < exec.size(); ++i) {
        if (exec[i] == '\\' || exec[i] == '%') {
            EXPECT_TRUE(exec[i] == '\\' || exec[i + 1] == '%') << "a lone % in " << exec;
            ++i;
        }
        command += exec[i];
    }
    return command;
}

}  // namespace

TEST(RunOnce, EntryStartsTheProgramOnceAndTheSessionClosesOnlyWhenLogindSaysSo) {
    ServerHarness h;
    TempDir config;
    const char* old = std::getenv("XDG_CONFIG_HOME");
    const std::string saved = old != nullptr ? old : "";
    setenv("XDG_CONFIG_HOME", config.Path().c_str(), 1);
    // A directory whose name needs every kind of quoting.
    const std::string folder = config / "it's \"$HOME\" \\ 100% `x`";
    mkdir(folder.c_str(), 0700);
    h.app.m_AppPath = folder + "/prog";
    WriteFile(h.app.m_AppPath, "#!/bin/sh\necho ran >> '" + (config / "marker") + "'\n");
    chmod(h.app.m_AppPath.c_str(), 0700);

    h.app.bPreventAutoRestart = 1;
    h.app.WriteRunOnce("");
    EXPECT_FALSE(FileExists(config / "autostart"));
    h.app.bPreventAutoRestart = 0;
    h.app.WriteRunOnce("");
    const std::string entry = config / "autostart/Quaylon.desktop";
    const std::string text = ReadFile(entry);
    EXPECT_EQ(text.rfind("[Desktop Entry]\nType=Application\n", 0), 0u) << text;
    EXPECT_EQ(std::system(ExecCommand(text).c_str()), 0) << text;
    EXPECT_EQ(ReadFile(config / "marker"), "ran\n");
    EXPECT_FALSE(FileExists(entry));

    h.app.WriteRunOnce("/opt/new/quaylond");
    EXPECT_NE(ReadFile(config / "autostart/NewQuaylon.desktop").find("/opt/new/quaylond"),
              std::string::npos);
    old != nullptr ? setenv("XDG_CONFIG_HOME", saved.c_str(), 1) : unsetenv("XDG_CONFIG_HOME");

    WriteFile(config / "c7", "# This is private data. Do not parse.\nUID=1000\nSTATE=active\n");
    setenv("XDG_SESSION_ID", "c7", 1);
    EXPECT_FALSE(SessionClosing(config.Path()));
    WriteFile(config / "c7", "UID=1000\nSTATE=closing\nACTIVE=0\n");
    EXPECT_TRUE(SessionClosing(config.Path()));
    setenv("XDG_SESSION_ID", "c8", 1);
    EXPECT_TRUE(SessionClosing(config.Path())) << "the session's record is gone";
    EXPECT_FALSE(SessionClosing(config / "none")) << "no logind: nothing to go by";
    unsetenv("XDG_SESSION_ID");
    EXPECT_FALSE(SessionClosing(config.Path()));
}
