#include <gtest/gtest.h>

#include <fstream>

#include "server/TransferFile.h"
#include "support/TempDir.h"

// Small blocks come from a read ahead, yet each holds the file's bytes at its place, and a file
// that grows while it is read is read to its new end; as on the wire, a short block is the last.
TEST(TransferFile, SmallBlocksReadAheadAndFollowAGrowingFile) {
    TempDir dir;
    const std::string content = PatternBytes(10000);
    WriteFile(dir / "f", content);
    auto file = TransferFile::Open(dir / "f", TransferFile::Mode::ReadBinary);
    ASSERT_TRUE(file);
    std::string got;
    char block[512];
    for (int n = sizeof block; n == sizeof block; got.append(block, static_cast<std::size_t>(n))) {
        n = file->Read(block, sizeof block);
        if (got.size() == 9216) {
            std::ofstream(dir / "f", std::ios::app) << std::string(300, 'x');
        }
    }
    EXPECT_EQ(got.size(), 10300u);
    EXPECT_TRUE(got == content + std::string(300, 'x')) << "the bytes differ";
}
