#include "app/LongOptions.h"

#include <arpa/inet.h>
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <cstring>

#include "server/ServerApp.h"
#include "settings/Settings.h"
#include "settings/Version.h"

const char kUsage[] =
    "Usage: %s [options]\n"
    "A TFTP server (RFC 1350, 2347, 2348, 2349).\n"
    "\n"
    "  -An               serve on address number n (0-9) of this host\n"
    "  -IDIR             directory for files received, this run only\n"
    "  -ODIR             directory for files sent, this run only\n"
    "  --bind ADDRESS    serve on this IPv4 address, skipping the address choice\n"
    "  --port N          serve on port N this run only (not saved)\n"
    "  --config-dir DIR  keep settings in DIR (default $XDG_CONFIG_HOME/Orrelin)\n"
    "  --verbose         quaylond: each client's progress too, at most once a second\n"
    "  --help            show this text\n"
    "  --version         show the version\n"
    "\n"
    "Signals: SIGTERM or SIGINT end the server in order. To quaylond SIGHUP does too, SIGUSR1\n"
    "stops serving new clients and SIGUSR2 serves again.\n";

LongOptions ParseLongOptions(int argc, const char* const* argv) {
    LongOptions options;
    options.remaining.emplace_back(argc > 0 ? argv[0] : "");
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        std::string name = arg;
        std::optional<std::string> value;
        if (const auto eq = arg.find('='); arg.rfind("--", 0) == 0 && eq != std::string::npos) {
            name = arg.substr(0, eq);
            value = arg.substr(eq + 1);
        }
        const bool bTakesValue = name == "--config-dir" || name == "--bind" || name == "--port";
        if (bTakesValue && !value) {
            if (i + 1 >= argc) {
                options.error = name + " needs a value";
                return options;
            }
            value = argv[++i];
        }
        if (name == "--config-dir") {
            options.configDir = *value;
        } else if (name == "--bind") {
            in_addr probe{};
            if (inet_pton(AF_INET, value->c_str(), &probe) != 1) {
                options.error = "--bind needs an IPv4 address, not '" + *value + "'";
                return options;
            }
            options.bindAddress = *value;
        } else if (name == "--port") {
            if (value->empty() || value->find_first_not_of("0123456789") != std::string::npos ||
                value->size() > 5 || std::stoul(*value) == 0 || std::stoul(*value) > 65535) {
                options.error = "--port needs a number from 1 to 65535, not '" + *value + "'";
                return options;
            }
            options.port = *value;
        } else if (name == "--help") {
            options.bHelp = true;
        } else if (name == "--version") {
            options.bVersion = true;
        } else if (name == "--verbose") {
            options.bVerbose = true;
        } else if (arg.rfind("--", 0) == 0) {
            options.error = "unknown option " + arg;
            return options;
        } else {
            options.remaining.push_back(arg);
        }
    }
    return options;
}

std::string ProgramPath(const char* argv0) {
    char path[PATH_MAX];
    const ssize_t n = readlink("/proc/self/exe", path, sizeof path - 1);
    if (n <= 0) {
        return argv0 != nullptr ? argv0 : "";
    }
    path[n] = '\0';
    return path;
}

std::optional<int> AnswerWithoutServing(const LongOptions& options, const char* program) {
    if (!options.error.empty()) {
        std::fprintf(stderr, "%s: %s\n", program, options.error.c_str());
        std::fprintf(stderr, kUsage, program);
        return 2;
    }
    if (options.bHelp) {
        std::printf(kUsage, program);
        return 0;
    }
    if (options.bVersion) {
        std::printf("%s\n", kRunningVersion);
        return 0;
    }
    return std::nullopt;
}

bool ChoosesAddress(const LongOptions& options) {
    if (!options.bindAddress.empty()) {
        return true;
    }
    // Read by the parser that reads it for the server, so that both agree on what -A is.
    std::vector<const char*> args;
    for (const std::string& arg : options.remaining) {
        args.push_back(arg.c_str());
    }
    CSettings probe;
    probe.ParseArguments(static_cast<int>(args.size()), args.data());
    return probe.m_nArgAddress != -1;
}

int StartServer(CServerApp& app, const LongOptions& options, const char* argv0) {
    app.m_ConfigDir = options.configDir;
    app.m_BindAddress = options.bindAddress;
    if (options.port) {
        app.Port = *options.port;
        app.m_bPortArg = 1;
    }
    std::vector<std::string> args = options.remaining;
    args[0] = ProgramPath(argv0);
    std::vector<const char*> argPointers;
    for (const std::string& arg : args) {
        argPointers.push_back(arg.c_str());
    }
    return app.InitInstance(static_cast<int>(argPointers.size()), argPointers.data());
}
