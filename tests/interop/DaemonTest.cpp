#include <gtest/gtest.h>
#include <signal.h>

#include "interop/DaemonProcess.h"
#include "support/ServerHarness.h"
#include "support/TftpPeer.h"

namespace {

constexpr char kRefusal[] = "Service not available";
// curl's exit status for a TFTP error of code 0, which names no cause.
constexpr int kCurlTftpUndefinedError = 71;

// Requests a missing file until the answer's text differs from `unwanted` or the tries run out;
// the last text seen. A signal reaches the daemon's loop at some moment after kill() returns.
std::string ProbeUntilAnswerIsNot(std::uint16_t port, const std::string& unwanted) {
    TftpPeer peer(nullptr);
    std::string text;
    for (int attempt = 0; attempt < 50; ++attempt) {
        const auto reply = peer.Exchange(port, tftp::Rrq("none.bin"), 200);
        if (reply && tftp::Opcode(*reply) == 5) {
            text = tftp::ErrorText(*reply);
            if (text != unwanted) {
                break;
            }
        }
    }
    return text;
}

TEST(Daemon, SecondCopyOnTheSamePortGivesUpAndLeavesTheFirstServing) {
    ServingDaemon d;
    ASSERT_TRUE(d.Serving()) << d.Process().Stderr();
    DaemonProcess second(d.Args(d.Port()));
    const auto status = second.WaitExit();
    ASSERT_TRUE(status) << "the second copy is still running";
    EXPECT_NE(*status, 0);
    EXPECT_NE(second.Stderr().find("Unable to Create listening port"), std::string::npos)
        << second.Stderr();
    EXPECT_NE(second.Stderr().find("Unable to initialise server operations"), std::string::npos)
        << second.Stderr();
    EXPECT_EQ(second.Stdout().find("Quaylon serving on"), std::string::npos);

    WriteFile(d.out / "still.bin", PatternBytes(3000));
    const ClientResult get =
        RunClient({"curl", "-sS", "-o", d.scratch / "still.bin", d.Url("still.bin")});
    EXPECT_EQ(get.status, 0) << get.err;
    EXPECT_TRUE(FileHolds(d.scratch / "still.bin", PatternBytes(3000)));
}

TEST(Daemon, HelpAndVersionExitZeroWithoutServing) {
    DaemonProcess help({"--help"});
    EXPECT_EQ(help.WaitExit(), 0);
    EXPECT_NE(help.Stdout().find("Usage:"), std::string::npos) << help.Stdout();
    EXPECT_NE(help.Stdout().find("--config-dir"), std::string::npos) << help.Stdout();

    DaemonProcess version({"--version"});
    EXPECT_EQ(version.WaitExit(), 0);
    EXPECT_EQ(version.Stdout().rfind("Quaylon V", 0), 0u) << version.Stdout();

    for (const DaemonProcess* p : {&help, &version}) {
        EXPECT_EQ(p->Stdout().find("Quaylon serving on"), std::string::npos);
    }
}

TEST(Daemon, BadLongOptionsExitNonZeroWithoutServing) {
    // Loopback and a free port first, so that an option taken by mistake serves nowhere else.
    const std::string port = std::to_string(FreeUdpPort());
    const std::vector<std::vector<std::string>> cases{
        {"--port", "0"},  {"--port", "65536"},     {"--port", "12x"},
        {"--port", ""},   {"--bind", "localhost"}, {"--bind", "127.0.0.1", "--port"},
        {"--frobnicate"}, {"--config-dir"},
    };
    for (const auto& bad : cases) {
        std::vector<std::string> args{"--bind", "127.0.0.1", "--port", port};
        args.insert(args.end(), bad.begin(), bad.end());
        SCOPED_TRACE(testing::PrintToString(bad));
        DaemonProcess p(args);
        const auto status = p.WaitExit();
        ASSERT_TRUE(status) << "still running";
        EXPECT_NE(*status, 0);
        EXPECT_NE(p.Stderr().find("Usage:"), std::string::npos) << p.Stderr();
        EXPECT_EQ(p.Stdout().find("Quaylon serving on"), std::string::npos);
    }
}

// The orderly end: status 0, and every row, with the result the tick gave it, in the log.
TEST(Daemon, SigtermEndsInOrderWithTheRowsInTheLog) {
    ServingDaemon d;
    ASSERT_TRUE(d.Serving()) << d.Process().Stderr();
    WriteFile(d.out / "logged.bin", PatternBytes(1500));
    const ClientResult get =
        RunClient({"curl", "-sS", "-o", d.scratch / "logged.bin", d.Url("logged.bin")});
    EXPECT_EQ(get.status, 0) << get.err;
    // The result reaches the row at the next tick, every five seconds.
    EXPECT_TRUE(d.Process().WaitForStdout("Finished : Sending", 15000)) << d.Process().Stdout();

    EXPECT_EQ(d.Process().Stop(), 0) << d.Process().Stderr();
    const std::string log = ReadFile(d.Process().Home() / "Quaylon.log");
    EXPECT_NE(log.find("Ready"), std::string::npos) << log;
    const auto row = log.find(d.out / "logged.bin");
    ASSERT_NE(row, std::string::npos) << log;
    EXPECT_NE(log.find("Finished : Sending\r\n", row), std::string::npos) << log;
}

TEST(Daemon, SigintEndsLikeSigterm) {
    ServingDaemon d;
    ASSERT_TRUE(d.Serving()) << d.Process().Stderr();
    d.Process().Signal(SIGINT);
    EXPECT_EQ(d.Process().WaitExit(), 0);
    EXPECT_NE(ReadFile(d.Process().Home() / "Quaylon.log").find("Ready"), std::string::npos);
}

TEST(Daemon, Sigusr1RefusesNewClientsUntilSigusr2) {
    ServingDaemon d;
    ASSERT_TRUE(d.Serving()) << d.Process().Stderr();
    const std::string bytes = PatternBytes(2000);
    WriteFile(d.out / "paused.bin", bytes);

    d.Process().Signal(SIGUSR1);
    ASSERT_EQ(ProbeUntilAnswerIsNot(d.Port(), "File not found"), kRefusal);
    // Verbose, since only then does curl show the server's text of an error.
    const ClientResult refused =
        RunClient({"curl", "-v", "-o", d.scratch / "refused.bin", d.Url("paused.bin")});
    EXPECT_EQ(refused.status, kCurlTftpUndefinedError) << refused.err;
    EXPECT_NE(refused.err.find(std::string("TFTP error: ") + kRefusal), std::string::npos)
        << refused.err;
    EXPECT_FALSE(FileExists(d.scratch / "refused.bin"));

    d.Process().Signal(SIGUSR2);
    ASSERT_EQ(ProbeUntilAnswerIsNot(d.Port(), kRefusal), "File not found");
    const ClientResult served =
        RunClient({"curl", "-sS", "-o", d.scratch / "served.bin", d.Url("paused.bin")});
    EXPECT_EQ(served.status, 0) << served.err;
    EXPECT_TRUE(FileHolds(d.scratch / "served.bin", bytes));
}

}  // namespace
