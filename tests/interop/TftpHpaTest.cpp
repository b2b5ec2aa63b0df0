#include <gtest/gtest.h>

#include "interop/DaemonProcess.h"
#include "support/TftpPeer.h"

namespace {

// The command's words go as arguments of their own behind -c.
ClientResult Tftp(const ServingDaemon& d, const std::string& mode, const std::string& command,
                  const std::string& from, const std::string& to) {
    return RunClient(
        {"tftp", "-m", mode, "127.0.0.1", std::to_string(d.Port()), "-c", command, from, to});
}

// Lines of every length up to 99 with LF ends, long enough that line ends fall on block edges,
// and one bare CR, which travels as CR NUL.
std::string TextWithLfLines() {
    std::string text;
    for (int line = 0; line < 400; ++line) {
        for (int i = 0; i < line % 100; ++i) {
            text += static_cast<char>('a' + (line + i) % 26);
        }
        text += line == 200 ? "\rcarriage\n" : "\n";
    }
    return text;
}

std::string ToNetascii(const std::string& text) {
    std::string wire;
    for (char c : text) {
        if (c == '\n') {
            wire += "\r\n";
        } else if (c == '\r') {
            wire += std::string("\r\0", 2);
        } else {
            wire += c;
        }
    }
    return wire;
}

TEST(TftpHpa, BinaryFilesSurviveBothDirectionsAndMissingOnesAreReported) {
    ServingDaemon d;
    ASSERT_TRUE(d.Serving()) << d.Process().Stderr();
    unsigned seed = 20;
    for (const auto& [name, size] : BoundarySizes(512)) {
        SCOPED_TRACE(name);
        const std::string bytes = PatternBytes(size, seed++);
        WriteFile(d.out / name, bytes);
        const ClientResult get = Tftp(d, "binary", "get", name, d.scratch / name);
        EXPECT_EQ(get.status, 0) << get.out << get.err;
        EXPECT_TRUE(FileHolds(d.scratch / name, bytes));

        const std::string source = d.scratch / ("source-" + name);
        WriteFile(source, bytes);
        const ClientResult put = Tftp(d, "binary", "put", source, "up-" + name);
        EXPECT_EQ(put.status, 0) << put.out << put.err;
        WaitForFileSize(d.in / ("up-" + name), size);
        EXPECT_TRUE(FileHolds(d.in / ("up-" + name), bytes));
    }
    // This client ends with status 0 whatever happened, so its message is what tells.
    const ClientResult missing = Tftp(d, "binary", "get", "none.bin", d.scratch / "none.bin");
    EXPECT_NE((missing.out + missing.err).find("Error code 1: File not found"), std::string::npos)
        << missing.out << missing.err;
}

TEST(TftpHpa, AsciiModeKeepsLfLineEndsOnDiskAndSendsCrLf) {
    ServingDaemon d;
    ASSERT_TRUE(d.Serving()) << d.Process().Stderr();
    // 256 line ends make exactly one block of 512 bytes on the wire, so an empty block ends it.
    const std::vector<std::pair<std::string, std::string>> files{
        {"text.txt", TextWithLfLines()}, {"blank.txt", std::string(256, '\n')}, {"empty.txt", ""}};
    for (const auto& [name, text] : files) {
        SCOPED_TRACE(name);
        WriteFile(d.out / name, text);

        // What travels: every LF as CR LF, the bare CR as CR NUL, and tsize is the disk length.
        TftpPeer peer(nullptr);
        const auto oack = peer.Exchange(d.Port(), tftp::Rrq(name, "netascii", {{"tsize", "0"}}));
        ASSERT_TRUE(oack);
        ASSERT_EQ(tftp::Opcode(*oack), 6) << tftp::ErrorText(*oack);
        EXPECT_EQ(tftp::OackOptions(*oack), (std::vector<std::pair<std::string, std::string>>{
                                                {"tsize", std::to_string(text.size())}}));
        peer.Reply(tftp::Ack(0));
        std::string wire;
        const std::size_t maxBlocks = 2 * text.size() / 512 + 2;
        for (std::size_t block = 1; block <= maxBlocks; ++block) {
            const auto data = peer.Receive();
            ASSERT_TRUE(data);
            ASSERT_EQ(tftp::Opcode(*data), 3);
            ASSERT_EQ(tftp::Number(*data), block);
            wire += tftp::Payload(*data);
            peer.Reply(tftp::Ack(static_cast<std::uint16_t>(block)));
            if (tftp::Payload(*data).size() < 512) {
                break;
            }
        }
        EXPECT_TRUE(wire == ToNetascii(text)) << wire.size() << " bytes on the wire";

        const ClientResult get = Tftp(d, "ascii", "get", name, d.scratch / name);
        EXPECT_EQ(get.status, 0) << get.out << get.err;
        EXPECT_TRUE(FileHolds(d.scratch / name, text));

        const std::string source = d.scratch / ("source-" + name);
        WriteFile(source, text);
        const ClientResult put = Tftp(d, "ascii", "put", source, "up-" + name);
        EXPECT_EQ(put.status, 0) << put.out << put.err;
        WaitForFileSize(d.in / ("up-" + name), text.size());
        EXPECT_TRUE(FileHolds(d.in / ("up-" + name), text));
    }
}

}  // namespace
