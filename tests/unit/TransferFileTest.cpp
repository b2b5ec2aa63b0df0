#include <gtest/gtest.h>

#include <fstream>

#include "server/TransferFile.h"
#include "support/TempDir.h"

// Small blocks come from a read ahead, yet every block holds the file's bytes at its place, a
// repeated block the same bytes again, and a file that grows is read to its new end.
TEST(TransferFile, SmallBlocksReadAheadRepeatAndFollowAGrowingFile) {
    TempDir dir;
    const std::string content = PatternBytes(10000);
    WriteFile(dir / "f", content);
    auto file = TransferFile::Open(dir / "f", TransferFile::Mode::ReadBinary);
    ASSERT_TRUE(file);
    std::string got;
    char block[512];
    // As on the wire, a short block is the last.
    for (int n = sizeof block, i = 0; n == sizeof block; ++i) {
        n = file->Read(block, sizeof block);
        // Repeat a block at, just before and just after each 4 KiB boundary.
        if (i % 8 == 7 || i % 8 == 0) {
            char again[512];
            ASSERT_TRUE(file->RewindLastRead());
            ASSERT_EQ(file->Read(again, sizeof again), n);
            ASSERT_TRUE(std::string(again, n) == std::string(block, n)) << "block " << i;
        }
        got.append(block, static_cast<std::size_t>(n));
        if (got.size() == 9728) {
            std::ofstream(dir / "f", std::ios::app) << std::string(300, 'x');
        }
    }
    EXPECT_EQ(got.size(), 10300u);
    EXPECT_TRUE(got == content + std::string(300, 'x')) << "the bytes differ";
}
