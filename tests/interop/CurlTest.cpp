#include <gtest/gtest.h>

#include "interop/DaemonProcess.h"

namespace {

ClientResult Curl(const std::vector<std::string>& flags, const std::vector<std::string>& args) {
    std::vector<std::string> argv{"curl", "-sS"};
    argv.insert(argv.end(), flags.begin(), flags.end());
    argv.insert(argv.end(), args.begin(), args.end());
    return RunClient(argv);
}

struct CurlVariant {
    const char* name;
    std::vector<std::string> flags;
    std::size_t blksize;
    // curl takes the tsize of 0 that an empty file has for an invalid OACK, so with options it
    // cannot fetch an empty file from any server that answers tsize.
    bool bFetchesEmptyFiles;
};

void PrintTo(const CurlVariant& variant, std::ostream* os) {
    *os << variant.name;
}

class CurlTransfers : public testing::TestWithParam<CurlVariant> {};

TEST_P(CurlTransfers, FilesAroundTheBlockSizeSurviveBothDirectionsAndMissingOnesFail) {
    ServingDaemon d;
    ASSERT_TRUE(d.bServing) << d.process->Stderr();
    const CurlVariant& v = GetParam();
    ExpectRoundTrips(
        d, v.blksize,
        [&](bool bGet, const std::string& remote, const std::string& local) {
            return Curl(v.flags, {bGet ? "-o" : "-T", local, d.Url(remote)});
        },
        v.bFetchesEmptyFiles);
    const ClientResult missing = Curl(v.flags, {"-o", d.scratch / "none", d.Url("none")});
    EXPECT_EQ(missing.status, 68) << "curl's status for File not found; " << missing.err;
}

INSTANTIATE_TEST_SUITE_P(
    Variants, CurlTransfers,
    testing::Values(CurlVariant{"DefaultOptions", {}, 512, false},
                    CurlVariant{"Blksize1428", {"--tftp-blksize", "1428"}, 1428, false},
                    CurlVariant{"NoOptions", {"--tftp-no-options"}, 512, true}),
    [](const testing::TestParamInfo<CurlVariant>& info) { return info.param.name; });

// Over 65535 blocks of 512 bytes, so the block number wraps in both directions.
TEST(Curl, FileOverThirtyTwoMebibytesWrapsTheBlockNumber) {
    ServingDaemon d;
    ASSERT_TRUE(d.bServing) << d.process->Stderr();
    const std::string bytes = PatternBytes(32 * 1024 * 1024 + 1000, 7);
    WriteFile(d.out / "big.bin", bytes);
    const ClientResult get =
        Curl({"--tftp-no-options"}, {"-o", d.scratch / "big.bin", d.Url("big.bin")});
    EXPECT_EQ(get.status, 0) << get.err;
    EXPECT_TRUE(FileHolds(d.scratch / "big.bin", bytes));
    const ClientResult put = Curl({"--tftp-no-options"}, {"-T", d.out / "big.bin", d.Url("up")});
    EXPECT_EQ(put.status, 0) << put.err;
    EXPECT_TRUE(FileHolds(d.in / "up", bytes));
}

// Each transfer has a port of its own; transfers running side by side must not mix.
TEST(Curl, ClientsRunningAtOnceEachGetTheirOwnFile) {
    ServingDaemon d;
    ASSERT_TRUE(d.bServing) << d.process->Stderr();
    std::string script;
    for (unsigned i = 0; i < 6; ++i) {
        const std::string name = "f" + std::to_string(i);
        WriteFile((i % 2 == 0 ? d.out : d.scratch) / name, PatternBytes(1 << 20, i));
        script += (i % 2 == 0 ? "curl -sS -o " : "curl -sS -T ") + (d.scratch / name) + " " +
                  d.Url(name) + " & ";
    }
    const ClientResult all = RunClient({"sh", "-c", script + "wait"});
    for (unsigned i = 0; i < 6; ++i) {
        const std::string name = "f" + std::to_string(i);
        EXPECT_TRUE(FileHolds((i % 2 == 0 ? d.scratch : d.in) / name, PatternBytes(1 << 20, i)))
            << all.err;
    }
}

}  // namespace
