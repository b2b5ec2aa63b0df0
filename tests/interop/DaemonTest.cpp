#include <signal.h>

#include <map>
#include <sstream>

#include "interop/DaemonProcess.h"
#include "platform/HostAddresses.h"

namespace {

// The last error text for a missing file, asked until it is not `unwanted` (a signal lands late).
std::string ProbeUntilAnswerIsNot(std::uint16_t port, const std::string& unwanted) {
    std::string text = unwanted;
    for (int attempt = 0; attempt < 50 && text == unwanted; ++attempt) {
        text = ErrorFor(port, "none.bin", "127.0.0.1", 200);
    }
    return text;
}

// Each client's events in the order printed, by serial; announcements left out.
std::map<std::string, std::vector<std::string>> EventsBySerial(const std::string& out) {
    std::map<std::string, std::vector<std::string>> events;
    std::istringstream lines(out);
    for (std::string line; std::getline(lines, line);) {
        const auto open = line.find(" [");
        const auto close = line.find("] ", open);
        if (line.rfind("Quaylon serving on ", 0) == 0 || close == std::string::npos) {
            continue;
        }
        const std::string rest = line.substr(close + 2);
        events[line.substr(open + 2, close - open - 2)].push_back(rest.substr(0, rest.find(' ')));
    }
    return events;
}

// SIGINT ends in order: status 0, and every row, with the result the tick gave it, in the log.
TEST(Daemon, PrintsEachClientOnceOtherCopiesEndSigusr1And2PauseAndResumeSigintEndsInOrder) {
    ServingDaemon d;
    ASSERT_TRUE(d.bServing) << d.process->Stderr();
    // 300 KiB at curl's 512-byte blocks: 600 acknowledgements, none of which may print a line.
    for (const std::size_t size : {std::size_t{1500}, std::size_t{300 * 1024}}) {
        const std::string name = std::to_string(size) + ".bin";
        WriteFile(d.out / name, PatternBytes(size));
        const ClientResult get = RunClient({"curl", "-sS", "-o", d.scratch / name, d.Url(name)});
        EXPECT_EQ(get.status, 0) << get.err;
        // The result reaches the row at the next tick, every five seconds.
        EXPECT_TRUE(d.process->WaitForStdout(
            d.out / name + " | Finished : Sending | " + std::to_string(size) + " bytes | ", 15000))
            << d.process->Stdout();
    }
    EXPECT_EQ(ErrorFor(d.port, "none.bin"), "File not found");
    EXPECT_TRUE(d.process->WaitForStdout("/none.bin | File not found | - bytes | "))
        << d.process->Stdout();
    const auto events = EventsBySerial(d.process->Stdout());
    EXPECT_EQ(events.size(), 3u) << d.process->Stdout();
    for (const auto& [serial, seen] : events) {
        EXPECT_EQ(seen, (std::vector<std::string>{"start", "end"})) << "client " << serial << ":\n"
                                                                    << d.process->Stdout();
    }

    DaemonProcess help({"--help"});
    DaemonProcess version({"--version"});
    // On loopback, so that a port taken by mistake serves nowhere else.
    DaemonProcess bad({"--bind", "127.0.0.1", "--port", "0"});
    DaemonProcess second(d.Args());
    EXPECT_EQ(help.WaitExit(), 0);
    EXPECT_NE(help.Stdout().find("--config-dir"), std::string::npos) << help.Stdout();
    EXPECT_EQ(version.WaitExit(), 0);
    EXPECT_EQ(version.Stdout().rfind("Quaylon V", 0), 0u) << version.Stdout();
    EXPECT_NE(bad.WaitExit().value_or(0), 0);
    EXPECT_NE(bad.Stderr().find("Usage:"), std::string::npos) << bad.Stderr();
    EXPECT_NE(second.WaitExit().value_or(0), 0) << "the second copy is still running";
    EXPECT_NE(second.Stderr().find("Unable to Create listening port\n"
                                   "Unable to initialise server operations"),
              std::string::npos)
        << second.Stderr();
    for (DaemonProcess* p : {&help, &version, &bad, &second}) {
        EXPECT_EQ(p->Stdout().find("Quaylon serving on"), std::string::npos);
    }

    // The first copy still serves, and the signal stops it.
    WriteFile(d.out / "paused.bin", PatternBytes(2000));
    d.process->Signal(SIGUSR1);
    ASSERT_EQ(ProbeUntilAnswerIsNot(d.port, "File not found"), "Service not available");
    // Verbose, since only then does curl show the server's text of an error.
    const ClientResult refused =
        RunClient({"curl", "-v", "-o", d.scratch / "refused.bin", d.Url("paused.bin")});
    EXPECT_EQ(refused.status, 71) << "curl's status for an error of code 0; " << refused.err;
    EXPECT_NE(refused.err.find("TFTP error: Service not available"), std::string::npos)
        << refused.err;

    d.process->Signal(SIGUSR2);
    ASSERT_EQ(ProbeUntilAnswerIsNot(d.port, "Service not available"), "File not found");
    const ClientResult served =
        RunClient({"curl", "-sS", "-o", d.scratch / "served.bin", d.Url("paused.bin")});
    EXPECT_EQ(served.status, 0) << served.err;
    EXPECT_TRUE(FileHolds(d.scratch / "served.bin", PatternBytes(2000)));
    EXPECT_TRUE(d.process->WaitForStdout(d.out / "paused.bin | Finished : Sending", 15000))
        << d.process->Stdout();

    d.process->Signal(SIGINT);
    EXPECT_EQ(d.process->WaitExit(), 0);
    const std::string log = ReadFile(d.process->home / "Quaylon.log");
    EXPECT_NE(log.find("Ready"), std::string::npos) << log;
    const auto row = log.find(d.out / "paused.bin");
    ASSERT_NE(row, std::string::npos) << log;
    EXPECT_NE(log.find("Finished : Sending\r\n", row), std::string::npos) << log;
}

// Standard output full and unread, then closed: serving goes on, lost lines are counted.
TEST(DaemonOutput, UnreadPipeNeverStopsTheServerAndSighupEndsInOrder) {
    ServingDaemon d({}, true);
    ASSERT_TRUE(d.bServing) << d.process->Stderr();
    // Long names, so that the rows' lines fill the pipe's page a few times before the client limit.
    for (int request = 0; request < 20; ++request) {
        ASSERT_EQ(ErrorFor(d.port, std::string(200, static_cast<char>('a' + request))),
                  "File not found")
            << "request " << request;
    }
    // 2048 blocks: a line per acknowledgement would fill a pipe of 64 KiB twice over.
    const std::string bytes = PatternBytes(1024 * 1024);
    WriteFile(d.out / "big.bin", bytes);
    const ClientResult get =
        RunClient({"curl", "-sS", "-o", d.scratch / "big.bin", d.Url("big.bin")});
    EXPECT_EQ(get.status, 0) << get.err;
    EXPECT_TRUE(FileHolds(d.scratch / "big.bin", bytes));

    d.process->EmptyStdout();
    EXPECT_EQ(ErrorFor(d.port, "none.bin"), "File not found");
    EXPECT_TRUE(d.process->WaitForStdout(" lines dropped)\n"));

    // Lines now meet a pipe nobody can read; SIGPIPE would end the daemon.
    d.process->CloseStdout();
    EXPECT_EQ(ErrorFor(d.port, "none.bin"), "File not found");

    d.process->Signal(SIGHUP);
    EXPECT_EQ(d.process->WaitExit(), 0) << d.process->Stderr();
    const std::string log = ReadFile(d.process->home / "Quaylon.log");
    EXPECT_NE(log.find("Ready"), std::string::npos) << log;
    EXPECT_NE(log.find(d.out / "big.bin"), std::string::npos) << log;
    EXPECT_TRUE(FileExists(d.config / "registry.reg")) << "settings written at the end";
}

TEST(Daemon, ServesEveryAddressUnlessAnAddressIsChosen) {
    const std::vector<std::string> addresses = LocalAddresses();
    ASSERT_FALSE(addresses.empty());
    ServingDaemon every(
        [](const ServingDaemon& d) {
            return std::vector<std::string>{"-O" + d.out.Dir(), "--port", std::to_string(d.port)};
        },
        false, "0.0.0.0");
    ASSERT_TRUE(every.bServing) << "no announcement of 0.0.0.0";
    // The list that -A numbers, on standard error as before.
    EXPECT_NE(every.process->Stderr().find("  0  " + addresses[0] + "\n"), std::string::npos)
        << every.process->Stderr();
    // Loopback is no entry of that list, and is served all the same.
    WriteFile(every.out / "hello.txt", "every address\n");
    const ClientResult fetched =
        RunClient({"curl", "-sS", "-o", every.scratch / "hello.txt", every.Url("hello.txt")});
    EXPECT_EQ(fetched.status, 0) << fetched.err;
    EXPECT_TRUE(FileHolds(every.scratch / "hello.txt", "every address\n"));

    // -A still serves the one address it numbers.
    const ServingDaemon chosen(
        [](const ServingDaemon& d) {
            return std::vector<std::string>{"-A0", "--port", std::to_string(d.port)};
        },
        false, addresses[0]);
    EXPECT_TRUE(chosen.bServing);
}

// With no -I, -O or --port: the port, the directory and both address lists come from the store.
TEST(StoredSettings, PortDirectoryAndAddressListsFromTheStoreGovernRealClients) {
    ServingDaemon d([](const ServingDaemon& d) {
        WriteFile(d.config / "rules.dat", std::string("\1\0\0\0\x09", 5) + "127.0.0.*" +
                                              std::string("\1\0\0\0\x09", 5) + "127.0.0.2");
        WriteFile(d.config / "registry.reg",
                  "Windows Registry Editor Version 5.00\n\n"
                  "[HKEY_CURRENT_USER\\Software\\Orrelin\\Quaylon]\n\"OutPath\"=\"" +
                      d.out.Dir() + "\"\n\"Port\"=\"" + std::to_string(d.port) +
                      "\"\n\"ADData\"=\"" + (d.config / "rules.dat") +
                      "\"\n\"bDelete\"=dword:0000070e\n\"bAllow\"=dword:00000001\n"
                      "\"bDeny\"=dword:00000001\n");
        return std::vector<std::string>{"--bind", "127.0.0.1", "--config-dir", d.config.Path()};
    });
    ASSERT_TRUE(d.bServing) << d.process->Stderr();
    WriteFile(d.out / "f.bin", PatternBytes(1500));
    const ClientResult get = RunClient({"curl", "-sS", "-o", d.scratch / "f.bin", d.Url("f.bin")});
    EXPECT_EQ(get.status, 0) << get.err;
    EXPECT_TRUE(FileHolds(d.scratch / "f.bin", PatternBytes(1500)));
    // curl cannot speak from 127.0.0.2; the raw packet can.
    EXPECT_EQ(ErrorFor(d.port, "f.bin", "127.0.0.2"), "Service not available");
    d.process->Signal(SIGTERM);
    EXPECT_EQ(d.process->WaitExit(10000), 0);
    const std::string log = ReadFile(d.process->home / "Quaylon.log");
    EXPECT_EQ(log.find("127.0.0.2"), std::string::npos) << "a refusal leaves no row: " << log;
}

}  // namespace
