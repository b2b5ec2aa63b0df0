#include <gtest/gtest.h>
#include <signal.h>

#include "interop/DaemonProcess.h"
#include "support/TftpPeer.h"

namespace {

// Asks for a missing file until the error's text is not `unwanted`, at most 50 times: a signal
// reaches the daemon's loop at some moment after kill() returns. The last text seen.
std::string ProbeUntilAnswerIsNot(std::uint16_t port, const std::string& unwanted) {
    TftpPeer peer(nullptr);
    std::string text = unwanted;
    for (int attempt = 0; attempt < 50 && text == unwanted; ++attempt) {
        text = tftp::ErrorText(peer.Exchange(port, tftp::Rrq("none.bin"), 200).value_or(""));
    }
    return text;
}

TEST(Daemon, HelpVersionBadOptionsAndATakenPortEndWithoutServingAndLeaveTheFirstCopyServing) {
    ServingDaemon d;
    ASSERT_TRUE(d.bServing) << d.process->Stderr();
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
    for (const DaemonProcess* p : {&help, &version, &bad, &second}) {
        EXPECT_EQ(p->Stdout().find("Quaylon serving on"), std::string::npos);
    }
    EXPECT_EQ(ProbeUntilAnswerIsNot(d.port, ""), "File not found");
    EXPECT_EQ(d.process->Stop(), 0) << "SIGTERM ends in order";
}

// SIGINT ends in order too: status 0, and every row, with the result the tick gave it, in the log.
TEST(Daemon, Sigusr1RefusesNewClientsUntilSigusr2AndSigintEndsWithTheRowsInTheLog) {
    ServingDaemon d;
    ASSERT_TRUE(d.bServing) << d.process->Stderr();
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
    // The result reaches the row at the next tick, every five seconds.
    EXPECT_TRUE(d.process->WaitForStdout("Finished : Sending", 15000)) << d.process->Stdout();

    d.process->Signal(SIGINT);
    EXPECT_EQ(d.process->WaitExit(), 0);
    const std::string log = ReadFile(d.process->home / "Quaylon.log");
    EXPECT_NE(log.find("Ready"), std::string::npos) << log;
    const auto row = log.find(d.out / "paused.bin");
    ASSERT_NE(row, std::string::npos) << log;
    EXPECT_NE(log.find("Finished : Sending\r\n", row), std::string::npos) << log;
}

}  // namespace
