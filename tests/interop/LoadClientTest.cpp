#include "bench/LoadClient.h"
#include "interop/DaemonProcess.h"

namespace {

bench::LoadPlan Plan(const ServingDaemon& d, bench::Direction direction, const std::string& remote,
                     std::string_view local) {
    bench::LoadPlan plan;
    plan.spec.port = d.port;
    plan.spec.direction = direction;
    plan.spec.remote = remote;
    plan.spec.local = local;
    plan.deadlineSeconds = 60;
    return plan;
}

testing::AssertionResult AllOk(const bench::LoadReport& report, std::size_t transfers,
                               std::size_t bytes) {
    if (report.transfers.size() != transfers) {
        return testing::AssertionFailure() << report.transfers.size() << " transfers ran";
    }
    for (const bench::TransferResult& t : report.transfers) {
        if (!t.bOk || t.bytes != bytes || t.firstReplySeconds < 0) {
            return testing::AssertionFailure() << "a transfer failed: " << t.failure;
        }
    }
    return testing::AssertionSuccess();
}

// In netascii the first two blocks of 1428 end halfway through a pair (CR | LF, then CR | NUL),
// the file ends in a bare CR, and every byte value comes between.
TEST(LoadClient, SessionsInBothModesMoveEveryBytePastTheLastBlockNumberAndNoticeWrongOnes) {
    ServingDaemon d;
    ASSERT_TRUE(d.bServing) << d.process->Stderr();
    const std::string bytes = std::string(1427, 'a') + "\n" + std::string(1426, 'b') + "\r" +
                              PatternBytes(100000, 5) + "\r";
    WriteFile(d.out / "f.bin", bytes);
    for (const bool bNetascii : {false, true}) {
        const std::string mode = bNetascii ? "netascii" : "octet";
        SCOPED_TRACE(mode);
        bench::LoadPlan read = Plan(d, bench::Direction::Read, "f.bin", bytes);
        read.spec.bNetascii = bNetascii;
        read.spec.blksize = 1428;
        read.spec.bTsize = true;
        read.spec.timeoutOption = 3;
        read.sessions = 3;
        read.count = 2;
        EXPECT_TRUE(AllOk(bench::RunLoad(read), 6, bytes.size()));

        bench::LoadPlan write = read;
        write.spec.direction = bench::Direction::Write;
        write.spec.remote = "up-" + mode + "-{n}.bin";
        EXPECT_TRUE(AllOk(bench::RunLoad(write), 6, bytes.size()));
        for (int n = 0; n < 6; ++n) {
            EXPECT_TRUE(FileHolds(d.in / ("up-" + mode + "-" + std::to_string(n) + ".bin"), bytes));
        }
    }

    bench::LoadPlan plain = Plan(d, bench::Direction::Read, "f.bin", bytes);
    EXPECT_TRUE(AllOk(bench::RunLoad(plain), 1, bytes.size())) << "a request without options";

    // A byte that differs and a file that is not there each fail with their reason.
    std::string altered = bytes;
    altered[70000] = static_cast<char>(altered[70000] ^ 1);
    for (const auto& [local, remote, reason] :
         {std::tuple{altered, "f.bin", "differ"}, {bytes, "missing.bin", "File not found"}}) {
        plain.spec.local = local;
        plain.spec.remote = remote;
        const bench::LoadReport report = bench::RunLoad(plain);
        ASSERT_EQ(report.transfers.size(), 1u);
        EXPECT_FALSE(report.transfers[0].bOk);
        EXPECT_NE(report.transfers[0].failure.find(reason), std::string::npos)
            << report.transfers[0].failure;
    }

    // Blocks of 8 bytes take the block number past 65535 within half a mebibyte, both ways.
    const std::string wrapped = PatternBytes(65536 * 8 + 100, 9);
    WriteFile(d.out / "wrap.bin", wrapped);
    bench::LoadPlan wrap = Plan(d, bench::Direction::Read, "wrap.bin", wrapped);
    wrap.spec.blksize = 8;
    EXPECT_TRUE(AllOk(bench::RunLoad(wrap), 1, wrapped.size()));
    wrap.spec.direction = bench::Direction::Write;
    EXPECT_TRUE(AllOk(bench::RunLoad(wrap), 1, wrapped.size()));
    EXPECT_TRUE(FileHolds(d.in / "wrap.bin", wrapped));
}

}  // namespace
