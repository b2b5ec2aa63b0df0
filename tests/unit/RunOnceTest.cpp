#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <cstdlib>
#include <optional>

#include "support/ServerHarness.h"

extern char** environ;

namespace {

// Sets or clears an environment variable for one test.
class ScopedEnv {
  public:
    ScopedEnv(const char* name, const char* value) : m_name(name) {
        if (const char* old = std::getenv(name)) {
            m_old = old;
        }
        value != nullptr ? setenv(name, value, 1) : unsetenv(name);
    }
    ~ScopedEnv() { m_old ? setenv(m_name, m_old->c_str(), 1) : unsetenv(m_name); }

  private:
    const char* m_name;
    std::optional<std::string> m_old;
};

// The Exec line of a desktop entry split as a session starts it: string escapes first, then
// "%%" and the quoting of arguments, which must escape '"', '`', '$' and '\\'.
std::vector<std::string> ExecArguments(const std::string& entry) {
    const std::size_t at = entry.find("\nExec=");
    const std::string exec = entry.substr(at + 6, entry.find('\n', at + 1) - at - 6);
    std::string value;
    for (std::size_t i = 0; i < exec.size(); ++i) {
        char c = exec[i];
        if (c == '\\' && i + 1 < exec.size()) {
            c = exec[++i];
            c = c == 's' ? ' ' : c == 'n' ? '\n' : c == 't' ? '\t' : c == 'r' ? '\r' : c;
        }
        value += c;
    }
    std::vector<std::string> args;
    std::optional<std::string> arg;
    bool bQuoted = false;
    for (std::size_t i = 0; i < value.size(); ++i) {
        const char c = value[i];
        if (c == ' ' && !bQuoted) {
            if (arg) {
                args.push_back(*arg);
            }
            arg.reset();
            continue;
        }
        arg = arg.value_or("");
        if (c == '%') {
            EXPECT_EQ(value[++i], '%') << "a literal percent sign must be doubled: " << exec;
            *arg += '%';
        } else if (c == '"') {
            bQuoted = !bQuoted;
        } else if (c == '\\' && bQuoted) {
            *arg += value[++i];
        } else if ((c == '$' || c == '`') && bQuoted) {
            ADD_FAILURE() << "an entry must escape " << c << " inside quotes: " << exec;
        } else {
            *arg += c;
        }
    }
    if (arg) {
        args.push_back(*arg);
    }
    return args;
}

int RunCommand(const std::vector<std::string>& args) {
    std::vector<char*> argv;
    for (const std::string& a : args) {
        argv.push_back(const_cast<char*>(a.c_str()));
    }
    argv.push_back(nullptr);
    pid_t pid = 0;
    int status = -1;
    if (posix_spawnp(&pid, argv[0], nullptr, nullptr, argv.data(), environ) != 0) {
        return -1;
    }
    waitpid(pid, &status, 0);
    return status;
}

// An executable that leaves a line in marker each time it runs, in a directory whose name
// needs every kind of quoting.
std::string MakeProgram(const TempDir& dir, const std::string& marker) {
    const std::string folder = dir / "it's \"$HOME\" \\ 100% `x`";
    mkdir(folder.c_str(), 0700);
    const std::string program = folder + "/prog";
    WriteFile(program, "#!/bin/sh\necho ran >> '" + marker + "'\n");
    chmod(program.c_str(), 0700);
    return program;
}

}  // namespace

TEST(RunOnce, EntryStartsTheProgramOnceThenRemovesItself) {
    ServerHarness h;
    TempDir config;
    const ScopedEnv xdg("XDG_CONFIG_HOME", config.Path().c_str());
    h.app.m_AppPath = MakeProgram(config, config / "marker");
    h.app.WriteRunOnce("");

    const std::string entry = config / "autostart/Quaylon.desktop";
    const std::string text = ReadFile(entry);
    EXPECT_EQ(text.rfind("[Desktop Entry]\n", 0), 0u) << text;
    EXPECT_NE(text.find("\nType=Application\n"), std::string::npos);
    EXPECT_EQ(RunCommand(ExecArguments(text)), 0) << text;
    EXPECT_EQ(ReadFile(config / "marker"), "ran\n");
    EXPECT_FALSE(FileExists(entry));
}

TEST(RunOnce, UpdateEntryFallsBackToHomeAndHonoursPrevention) {
    ServerHarness h;
    TempDir home;
    const ScopedEnv xdg("XDG_CONFIG_HOME", nullptr);
    const ScopedEnv homeVar("HOME", home.Path().c_str());
    const std::string update = MakeProgram(home, home / "marker");
    const std::string entry = home / ".config/autostart/NewQuaylon.desktop";

    h.app.bPreventAutoRestart = 1;
    h.app.WriteRunOnce(update);
    h.app.WriteRunOnce("");
    EXPECT_FALSE(FileExists(home / ".config/autostart"));

    h.app.bPreventAutoRestart = 0;
    h.app.m_AppPath = "/nowhere/quaylond";
    h.app.WriteRunOnce(update);
    EXPECT_FALSE(FileExists(home / ".config/autostart/Quaylon.desktop"));
    EXPECT_EQ(RunCommand(ExecArguments(ReadFile(entry))), 0);
    EXPECT_EQ(ReadFile(home / "marker"), "ran\n");
    EXPECT_FALSE(FileExists(entry));
}
