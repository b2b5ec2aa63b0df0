#include <gtest/gtest.h>

#include <memory>

#include "interop/DaemonProcess.h"
#include "platform/HostAddresses.h"
#include "support/ServerHarness.h"

namespace {

// quaylond with args and a free port, once it says it serves on address.port; null if it never
// did in three tries (another program may take the free port first).
std::unique_ptr<DaemonProcess> StartOn(const std::string& address, std::vector<std::string> args,
                                       std::uint16_t& port) {
    for (int attempt = 0; attempt < 3; ++attempt) {
        port = FreeUdpPort();
        std::vector<std::string> withPort = args;
        withPort.insert(withPort.end(), {"--port", std::to_string(port)});
        auto daemon = std::make_unique<DaemonProcess>(withPort);
        if (daemon->WaitForStdout("Quaylon serving on " + address + "." + std::to_string(port) +
                                  "\n")) {
            return daemon;
        }
    }
    return nullptr;
}

TEST(Daemon, ServesEveryAddressUnlessAnAddressIsChosen) {
    const std::vector<std::string> addresses = LocalAddresses();
    ASSERT_FALSE(addresses.empty());
    TempDir out;
    WriteFile(out / "hello.txt", "every address\n");

    std::uint16_t port = 0;
    const auto every = StartOn("0.0.0.0", {"-O" + out.Dir()}, port);
    ASSERT_TRUE(every) << "no announcement of 0.0.0.0";
    // The list that -A numbers, on standard error as before.
    EXPECT_NE(every->Stderr().find("  0  " + addresses[0] + "\n"), std::string::npos)
        << every->Stderr();
    // Loopback is no entry of that list, and is served all the same.
    TempDir scratch;
    const ClientResult fetched =
        RunClient({"curl", "-sS", "-o", scratch / "hello.txt",
                   "tftp://127.0.0.1:" + std::to_string(port) + "/hello.txt"});
    EXPECT_EQ(fetched.status, 0) << fetched.err;
    EXPECT_TRUE(FileHolds(scratch / "hello.txt", "every address\n"));
    EXPECT_EQ(every->Stop(), 0);

    // -A still serves the one address it numbers.
    EXPECT_TRUE(StartOn(addresses[0], {"-A0"}, port));
}

}  // namespace
