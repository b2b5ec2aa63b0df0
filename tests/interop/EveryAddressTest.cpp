#include <gtest/gtest.h>

#include "interop/DaemonProcess.h"
#include "platform/HostAddresses.h"

namespace {

TEST(Daemon, ServesEveryAddressUnlessAnAddressIsChosen) {
    const std::vector<std::string> addresses = LocalAddresses();
    ASSERT_FALSE(addresses.empty());
    // Neither -A nor --bind.
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
    EXPECT_EQ(every.process->Stop(), 0);

    // -A still serves the one address it numbers.
    const ServingDaemon chosen(
        [](const ServingDaemon& d) {
            return std::vector<std::string>{"-A0", "--port", std::to_string(d.port)};
        },
        false, addresses[0]);
    EXPECT_TRUE(chosen.bServing);
}

}  // namespace
