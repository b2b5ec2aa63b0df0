#include <gtest/gtest.h>

#include "interop/DaemonProcess.h"

namespace {

ClientResult Curl(std::vector<std::string> argv, const std::vector<std::string>& more) {
    argv.insert(argv.end(), more.begin(), more.end());
    return RunClient(argv);
}

TEST(Curl, FilesAroundTheBlockSizeSurviveBothDirectionsUnderEachOptionSetAndMissingOnesFail) {
    struct Variant {
        std::vector<std::string> curl;
        std::size_t blksize;
        // curl takes the tsize of 0 that an empty file has for an invalid OACK, so with options
        // it cannot fetch an empty file from any server that answers tsize.
        bool bGetsEmptyFiles;
    };
    for (const Variant& v : {Variant{{"curl", "-sS"}, 512, false},
                             Variant{{"curl", "-sS", "--tftp-blksize", "1428"}, 1428, false},
                             Variant{{"curl", "-sS", "--tftp-no-options"}, 512, true}}) {
        SCOPED_TRACE(v.curl.back());
        ServingDaemon d;
        ASSERT_TRUE(d.bServing) << d.process->Stderr();
        ExpectRoundTrips(
            d, v.blksize,
            [&](bool bGet, const std::string& remote, const std::string& local) {
                return Curl(v.curl, {bGet ? "-o" : "-T", local, d.Url(remote)});
            },
            v.bGetsEmptyFiles);
        const ClientResult missing = Curl(v.curl, {"-o", d.scratch / "none", d.Url("none")});
        EXPECT_EQ(missing.status, 68) << "curl's status for File not found; " << missing.err;
    }
}

// Each transfer has a port of its own; transfers running side by side must not mix. The first
// pair runs over 65535 blocks of 512 bytes, so the block number wraps in both directions.
TEST(Curl, ClientsRunningAtOnceEachMoveTheirOwnFilePastTheLastBlockNumber) {
    ServingDaemon d;
    ASSERT_TRUE(d.bServing) << d.process->Stderr();
    const auto bytes = [](unsigned i) {
        return PatternBytes(i < 2 ? 32 * 1024 * 1024 + 1000 : 1 << 20, i);
    };
    std::string script;
    for (unsigned i = 0; i < 6; ++i) {
        const std::string name = "f" + std::to_string(i);
        WriteFile((i % 2 == 0 ? d.out : d.scratch) / name, bytes(i));
        script += (i % 2 == 0 ? "curl -sS -o " : "curl -sS -T ") + (d.scratch / name) + " " +
                  d.Url(name) + " & ";
    }
    const ClientResult all = RunClient({"sh", "-c", script + "wait"});
    for (unsigned i = 0; i < 6; ++i) {
        const std::string name = "f" + std::to_string(i);
        EXPECT_TRUE(FileHolds((i % 2 == 0 ? d.scratch : d.in) / name, bytes(i))) << all.err;
    }
}

}  // namespace
