#pragma once

#include <optional>

class CServerApp;
#include <string>
#include <vector>

// The Linux options both programs take, removed from the command line before the short options
// (-A, -I, -O) are parsed, so that their values are never read as short options.
struct LongOptions {
    std::string configDir;
    std::string bindAddress;
    std::optional<std::string> port;
    bool bHelp = false;
    bool bVersion = false;
    bool bVerbose = false;  // quaylond: a progress line per client at most once a second
    std::string error;      // set when the command line cannot be used
    std::vector<std::string> remaining;  // program path first, then what is left
};

LongOptions ParseLongOptions(int argc, const char* const* argv);

// The path of the running program, as the kernel knows it; argv0 if that cannot be had.
std::string ProgramPath(const char* argv0);

// Prints what --help, --version or an unusable command line ask for; the exit status then, or
// nothing when the server is to run.
std::optional<int> AnswerWithoutServing(const LongOptions& options, const char* program);

// Whether the command line names the address to serve on: --bind, or -A with its number.
bool ChoosesAddress(const LongOptions& options);

// Hands the app this run's long options, then starts it with the short ones; 0 if it could not.
int StartServer(CServerApp& app, const LongOptions& options, const char* argv0);

extern const char kUsage[];
