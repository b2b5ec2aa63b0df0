#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "support/ServerHarness.h"
#include "unit/PeerSteps.h"

namespace {

using Options = std::vector<std::pair<std::string, std::string>>;

std::string Oack(const Options& options) {
    std::string packet("\x00\x06", 2);
    for (const auto& [name, value] : options) {
        packet += name + '\0' + value + '\0';
    }
    return packet;
}

}  // namespace

TEST(Request, EveryRefusalHasItsCodeAndTextOnTheWireAndInTheRow) {
    ServerHarness h;
    WriteFile(h.out / "f", "abc");
    WriteFile(h.in / "taken", "old");
    ASSERT_TRUE(h.Start());
    h.app.bInboundPaths = 1;
    auto peer = h.NewPeer();
    struct Case {
        std::string request;
        std::uint16_t code;
        std::string text;
    };
    const Case cases[] = {
        {tftp::Rrq("missing"), 1, "File not found"},
        {tftp::Rrq(""), 1, "File not found"},
        {tftp::Wrq(""), 2, "Access violation"},
        {tftp::Wrq("no/such/dir"), 2, "Access violation"},
        {tftp::Rrq("f", "mail"), 4, "Unknown TFTP Operation"},
        {std::string("\x00\x01"
                     "fo",
                     4),
         4, "Unknown TFTP Operation"},
        {std::string("\x00\x02"
                     "f\x00",
                     4),
         4, "Unknown TFTP Operation"},
        {tftp::Rrq("f", "octet", {{"blksize", "7"}}), 8, "Option negotion failure"},
        {tftp::Rrq("f", "octet", {{"blksize", "65465"}}), 8, "Option negotion failure"},
        {tftp::Wrq("w", "octet", {{"blksize", "x"}}), 8, "Option negotion failure"},
        {tftp::Wrq("w", "octet", {{"blksize", "4294967295"}}), 8, "Option negotion failure"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text + " for a request of " + std::to_string(c.request.size()) + " bytes");
        EXPECT_EQ(peer->Exchange(h.port, c.request), tftp::Error(c.code, c.text));
        EXPECT_NE(peer->LastSenderPort(), h.port);
        EXPECT_EQ(LastCell(h, Col::kResult), c.text);
    }
    // Rejecting goes before renaming.
    h.app.bRejectDuplicate = 1;
    h.app.bRenameDuplicate = 1;
    EXPECT_EQ(peer->Exchange(h.port, tftp::Wrq("taken")), tftp::Error(6, "File already exists"));
    EXPECT_EQ(ReadFile(h.in / "taken"), "old");
    EXPECT_FALSE(FileExists(h.in / "taken.1"));
    // The file column is filled before the mode is looked at.
    EXPECT_EQ(h.model.Rows()[5].columns[Col::kFile], h.out / "f");

    h.Tick();
    EXPECT_EQ(h.app.ClientCount(), 0);
    EXPECT_EQ(LastCell(h, Col::kResult), "File already exists") << "a retired row stays";
    EXPECT_EQ(LastCell(h, Col::kFinish), "");
}

TEST(Request, FirstReplyAndOackFollowTheAcceptedOptionsInFixedOrder) {
    ServerHarness h;
    WriteFile(h.out / "f", PatternBytes(70000));
    ASSERT_TRUE(h.Start());
    auto peer = h.NewPeer();
    struct Case {
        std::uint32_t allowTsize, allowTimeout;
        std::string request, reply;
    };
    const std::string data1 = tftp::Data(1, PatternBytes(512));
    const Case cases[] = {
        {1, 1, tftp::Rrq("f", "octet", {{"blksize", "1024"}, {"timeout", "5"}, {"TSIZE", "0"}}),
         Oack({{"tsize", "70000"}, {"timeout", "5"}, {"blksize", "1024"}})},
        {0, 1, tftp::Rrq("f", "octet", {{"tsize", "0"}, {"blksize", "1024"}}),
         Oack({{"blksize", "1024"}})},
        {1, 0, tftp::Rrq("f", "octet", {{"timeout", "5"}}), data1},
        {1, 1, tftp::Rrq("f", "octet", {{"colour", "5"}}), data1},
        {1, 1, tftp::Rrq("f", "octet", {{"blksize", "512"}}), Oack({{"blksize", "512"}})},
        {1, 1, tftp::Rrq("f", "NETASCII", {{"BlkSize", "8"}}), Oack({{"blksize", "8"}})},
        {1, 1, tftp::Rrq("f", "octet", {{"blksize", "65464"}}), Oack({{"blksize", "65464"}})},
        // Parsing goes on one byte behind the digits, here a zero that ends the options.
        {1, 1, tftp::Rrq("f", "octet", {{"blksize", "9x"}, {"tsize", "0"}}),
         Oack({{"blksize", "9"}})},
        {1, 1, tftp::Wrq("w"), tftp::Ack(0)},
        {1, 1, tftp::Wrq("w", "octet", {{"tsize", "12"}}), tftp::Ack(0)},
        {1, 1, tftp::Wrq("w", "octet", {{"blksize", "600"}, {"tsize", "12"}, {"timeout", "3"}}),
         Oack({{"timeout", "3"}, {"blksize", "600"}})},
    };
    for (const Case& c : cases) {
        h.app.bAllowTsize = c.allowTsize;
        h.app.bAllowTimeout = c.allowTimeout;
        EXPECT_EQ(peer->Exchange(h.port, c.request), c.reply);
        if (tftp::Opcode(c.reply) == 6 && tftp::Opcode(c.request) == 1) {
            // The agreed block shapes the data that the ACK of the OACK starts.
            const std::size_t block = std::stoul(tftp::OackOptions(c.reply).back().second);
            peer->Reply(tftp::Ack(0));
            const auto data = peer->Receive();
            ASSERT_TRUE(data);
            EXPECT_EQ(tftp::Number(*data), 1);
            EXPECT_EQ(tftp::Payload(*data).size(), block);
        }
    }
}

TEST(Request, ClientPathsAreCutOrKeptAndCleanedOfClimbing) {
    ServerHarness h;
    for (const char* relative : {"foo", "sub/dir/foo", "forced"}) {
        std::filesystem::create_directories(std::filesystem::path(h.out / relative).parent_path());
        WriteFile(h.out / relative, relative);
    }
    ASSERT_TRUE(h.Start());
    auto peer = h.NewPeer();
    struct Case {
        std::uint32_t keepPaths;
        std::string name, served;
        bool marked;
    };
    const Case cases[] = {
        {0, "foo", "foo", false},
        {0, "sub/dir/foo", "foo", true},
        {0, "sub\\dir\\foo", "foo", true},
        {0, "../../foo", "foo", true},
        {0, "/foo", "foo", true},
        {0, "f..oo", "foo", true},
        {1, "sub/dir/foo", "sub/dir/foo", false},
        {1, "sub\\dir/foo", "sub/dir/foo", false},
        {1, "sub//dir\\\\foo", "sub/dir/foo", true},
        {1, "../../foo", "foo", true},
        {1, "..\\..\\sub/dir/foo", "sub/dir/foo", true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        h.app.bOutboundPaths = c.keepPaths;
        EXPECT_EQ(peer->Exchange(h.port, tftp::Rrq(c.name)), tftp::Data(1, c.served));
        EXPECT_EQ(LastCell(h, Col::kFile), (c.marked ? "* " : "") + (h.out / c.served));
    }

    h.app.bForce = 1;
    h.app.ForceFile = "forced";
    EXPECT_EQ(peer->Exchange(h.port, tftp::Rrq("any/thing")), tftp::Data(1, "forced"));
    EXPECT_EQ(LastCell(h, Col::kFile), h.out / "forced");
    h.app.ForceFile = "../forced";
    EXPECT_EQ(peer->Exchange(h.port, tftp::Rrq("x")), tftp::Data(1, "forced"));
    EXPECT_EQ(LastCell(h, Col::kFile), "* " + (h.out / "forced"));
    EXPECT_EQ(tftp::Number(peer->Exchange(h.port, tftp::Rrq("x", "mail")).value_or("")), 4);
    // Writes never take the forced file.
    ASSERT_TRUE(Upload(*peer, h.port, "up", "new"));
    EXPECT_EQ(ReadFile(h.in / "up"), "new");
}

TEST(Request, InboundDirectoriesAreMadeOnlyWhenPathsAreAllowed) {
    ServerHarness h;
    ASSERT_TRUE(h.Start());
    auto peer = h.NewPeer();
    h.app.bCreatePaths = 1;
    ASSERT_TRUE(Upload(*peer, h.port, "a/b/f.bin", "one"));
    EXPECT_EQ(ReadFile(h.in / "f.bin"), "one");
    EXPECT_FALSE(FileExists(h.in / "a"));
    EXPECT_EQ(LastCell(h, Col::kFile), "* " + (h.in / "f.bin"));

    h.app.bInboundPaths = 1;
    ASSERT_TRUE(Upload(*peer, h.port, "a\\b/f.bin", "two"));
    EXPECT_EQ(ReadFile(h.in / "a/b/f.bin"), "two");

    // A directory that cannot be made below a dangling link refuses the write.
    ASSERT_EQ(symlink("/nonexistent-quaylon-target/x", (h.in / "link").c_str()), 0);
    EXPECT_EQ(peer->Exchange(h.port, tftp::Wrq("link/sub/f")), tftp::Error(2, "Access violation"));
    h.app.bCreatePaths = 0;
    EXPECT_EQ(peer->Exchange(h.port, tftp::Wrq("c/f")), tftp::Error(2, "Access violation"));
}

TEST(Request, DuplicateUploadsTakeOrGiveANumberedName) {
    ServerHarness h;
    WriteFile(h.in / "boot.bin", "old");
    WriteFile(h.in / "plain", "old");
    ASSERT_TRUE(h.Start());
    auto peer = h.NewPeer();

    ASSERT_TRUE(Upload(*peer, h.port, "boot.bin", "replaced"));
    EXPECT_EQ(ReadFile(h.in / "boot.bin"), "replaced");

    h.app.bRenameDuplicate = 1;
    ASSERT_TRUE(Upload(*peer, h.port, "boot.bin", "n1"));
    ASSERT_TRUE(Upload(*peer, h.port, "boot.bin", "n2"));
    ASSERT_TRUE(Upload(*peer, h.port, "plain", "n3"));
    EXPECT_EQ(ReadFile(h.in / "boot.bin"), "replaced");
    EXPECT_EQ(ReadFile(h.in / "boot.1.bin"), "n1");
    EXPECT_EQ(ReadFile(h.in / "boot.2.bin"), "n2");
    EXPECT_EQ(ReadFile(h.in / "plain.1"), "n3");
    EXPECT_EQ(LastCell(h, Col::kFile), h.in / "plain") << "the row keeps the name asked for";

    h.app.bRenameExisting = 1;
    ASSERT_TRUE(Upload(*peer, h.port, "boot.bin", "n4"));
    EXPECT_EQ(ReadFile(h.in / "boot.bin"), "n4");
    EXPECT_EQ(ReadFile(h.in / "boot.3.bin"), "replaced");

    // A dot in a directory puts the number there, where no directory exists to rename into.
    h.app.bInboundPaths = 1;
    std::filesystem::create_directories(h.in / "d.x");
    WriteFile(h.in / "d.x/f", "old");
    EXPECT_EQ(peer->Exchange(h.port, tftp::Wrq("d.x/f")), tftp::Error(2, "Access violation"));
    EXPECT_EQ(ReadFile(h.in / "d.x/f"), "old");
}
