#include <gtest/gtest.h>

#include "interop/DaemonProcess.h"

namespace {

// A get (-g) or put (-p) with all three options, so every transfer starts with an OACK.
ClientResult Atftp(const ServingDaemon& d, const std::string& direction, const std::string& local,
                   const std::string& remote) {
    return RunClient({"atftp", "--option", "blksize 1428", "--option", "tsize", "--option",
                      "timeout 3", direction, "-l", local, "-r", remote, "127.0.0.1",
                      std::to_string(d.Port())});
}

TEST(Atftp, FilesWithNegotiatedOptionsSurviveBothDirectionsAndMissingOnesFail) {
    ServingDaemon d;
    ASSERT_TRUE(d.Serving()) << d.Process().Stderr();
    unsigned seed = 40;
    for (const auto& [name, size] : BoundarySizes(1428)) {
        SCOPED_TRACE(name);
        const std::string bytes = PatternBytes(size, seed++);
        WriteFile(d.out / name, bytes);
        const ClientResult get = Atftp(d, "-g", d.scratch / name, name);
        EXPECT_EQ(get.status, 0) << get.out << get.err;
        EXPECT_TRUE(FileHolds(d.scratch / name, bytes));

        const std::string source = d.scratch / ("source-" + name);
        WriteFile(source, bytes);
        const ClientResult put = Atftp(d, "-p", source, "up-" + name);
        EXPECT_EQ(put.status, 0) << put.out << put.err;
        WaitForFileSize(d.in / ("up-" + name), size);
        EXPECT_TRUE(FileHolds(d.in / ("up-" + name), bytes));
    }
    const ClientResult missing = Atftp(d, "-g", d.scratch / "none.bin", "none.bin");
    EXPECT_NE(missing.status, 0);
    EXPECT_NE(missing.err.find("File not found"), std::string::npos) << missing.err;
}

}  // namespace
