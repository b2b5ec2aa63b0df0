#include <gtest/gtest.h>

#include <memory>

#include "interop/DaemonProcess.h"

namespace {

// curl's exit status for a TFTP "File not found".
constexpr int kCurlTftpNotFound = 68;

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
    ASSERT_TRUE(d.Serving()) << d.Process().Stderr();
    const CurlVariant& variant = GetParam();
    unsigned seed = 1;
    for (const auto& [name, size] : BoundarySizes(variant.blksize)) {
        SCOPED_TRACE(name);
        const std::string bytes = PatternBytes(size, seed++);
        WriteFile(d.out / name, bytes);
        if (size != 0 || variant.bFetchesEmptyFiles) {
            const ClientResult get = Curl(variant.flags, {"-o", d.scratch / name, d.Url(name)});
            EXPECT_EQ(get.status, 0) << get.err;
            EXPECT_TRUE(FileHolds(d.scratch / name, bytes));
        }

        const std::string source = d.scratch / ("source-" + name);
        WriteFile(source, bytes);
        const ClientResult put = Curl(variant.flags, {"-T", source, d.Url("up-" + name)});
        EXPECT_EQ(put.status, 0) << put.err;
        WaitForFileSize(d.in / ("up-" + name), size);
        EXPECT_TRUE(FileHolds(d.in / ("up-" + name), bytes));
    }
    const ClientResult missing =
        Curl(variant.flags, {"-o", d.scratch / "none.bin", d.Url("none.bin")});
    EXPECT_EQ(missing.status, kCurlTftpNotFound) << missing.err;
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
    ASSERT_TRUE(d.Serving()) << d.Process().Stderr();
    const std::string bytes = PatternBytes(32 * 1024 * 1024 + 1000, 7);
    WriteFile(d.out / "big.bin", bytes);
    const ClientResult get =
        Curl({"--tftp-no-options"}, {"-o", d.scratch / "big.bin", d.Url("big.bin")});
    EXPECT_EQ(get.status, 0) << get.err;
    EXPECT_TRUE(FileHolds(d.scratch / "big.bin", bytes));

    const std::string source = d.scratch / "source.bin";
    WriteFile(source, bytes);
    const ClientResult put = Curl({"--tftp-no-options"}, {"-T", source, d.Url("big-up.bin")});
    EXPECT_EQ(put.status, 0) << put.err;
    WaitForFileSize(d.in / "big-up.bin", bytes.size());
    EXPECT_TRUE(FileHolds(d.in / "big-up.bin", bytes));
}

// Each client has a port of its own; transfers running side by side must not mix.
TEST(Curl, ClientsRunningAtOnceEachGetTheirOwnFile) {
    ServingDaemon d;
    ASSERT_TRUE(d.Serving()) << d.Process().Stderr();
    constexpr int kClients = 6;
    std::vector<std::string> contents;
    std::vector<std::unique_ptr<Client>> clients;
    for (int i = 0; i < kClients; ++i) {
        const std::string name = "file" + std::to_string(i) + ".bin";
        contents.push_back(PatternBytes(1024 * 1024 + 100 * static_cast<std::size_t>(i),
                                        static_cast<unsigned>(i + 10)));
        std::vector<std::string> argv{"curl", "-sS"};
        if (i % 2 == 0) {
            WriteFile(d.out / name, contents.back());
            argv.insert(argv.end(), {"-o", d.scratch / name, d.Url(name)});
        } else {
            WriteFile(d.scratch / name, contents.back());
            argv.insert(argv.end(), {"-T", d.scratch / name, d.Url(name)});
        }
        clients.push_back(std::make_unique<Client>(argv));
    }
    for (int i = 0; i < kClients; ++i) {
        SCOPED_TRACE(i);
        const ClientResult result = clients[static_cast<std::size_t>(i)]->Wait();
        EXPECT_EQ(result.status, 0) << result.err;
        const std::string name = "file" + std::to_string(i) + ".bin";
        const std::string received = i % 2 == 0 ? d.scratch / name : d.in / name;
        WaitForFileSize(received, contents[static_cast<std::size_t>(i)].size());
        EXPECT_TRUE(FileHolds(received, contents[static_cast<std::size_t>(i)]));
    }
}

}  // namespace
