#include <gtest/gtest.h>

#include "interop/DaemonProcess.h"

namespace {

// A get (-g) or put (-p) with all three options, so every transfer starts with an OACK.
ClientResult Atftp(const ServingDaemon& d, const std::string& direction, const std::string& local,
                   const std::string& remote) {
    return RunClient({"atftp", "--option", "blksize 1428", "--option", "tsize", "--option",
                      "timeout 3", direction, "-l", local, "-r", remote, "127.0.0.1",
                      std::to_string(d.port)});
}

TEST(Atftp, FilesWithNegotiatedOptionsSurviveBothDirectionsAndMissingOnesFail) {
    ServingDaemon d;
    ASSERT_TRUE(d.bServing) << d.process->Stderr();
    ExpectRoundTrips(d, 1428, [&](bool bGet, const std::string& remote, const std::string& local) {
        return Atftp(d, bGet ? "-g" : "-p", local, remote);
    });
    const ClientResult missing = Atftp(d, "-g", d.scratch / "none.bin", "none.bin");
    EXPECT_NE(missing.status, 0);
    EXPECT_NE(missing.err.find("File not found"), std::string::npos) << missing.err;
}

}  // namespace
