#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <system_error>

#include "unit/PeerSteps.h"

using Request = Served;

TEST_F(Request, EveryRefusalHasItsCodeAndTextOnTheWireAndInTheRowAndNoDirectoryIsWritten) {
    WriteFile(h.out / "f", "abc");
    WriteFile(h.in / "taken", "old");
    h.app.bInboundPaths = 1;
    const std::tuple<std::string, std::uint16_t, std::string> cases[] = {
        {tftp::Rrq("missing"), 1, "File not found"},
        {tftp::Wrq("no/such/dir"), 2, "Access violation"},
        {tftp::Rrq("f", "mail"), 4, "Unknown TFTP Operation"},
        {std::string("\0\1fo", 4), 4, "Unknown TFTP Operation"},
        {tftp::Rrq("f", "octet", {{"blksize", "7"}}), 8, "Option negotion failure"},
        {tftp::Wrq("w", "octet", {{"blksize", "x"}}), 8, "Option negotion failure"},
    };
    for (const auto& [request, code, text] : cases) {
        SCOPED_TRACE(text + " for a request of " + std::to_string(request.size()) + " bytes");
        EXPECT_EQ(peer->Exchange(h.port, request), tftp::Error(code, text));
        EXPECT_NE(peer->LastSenderPort(), h.port);
        EXPECT_EQ(LastCell(h, Col::kResult), text);
    }
    // Rejecting goes before renaming.
    h.app.bRejectDuplicate = 1;
    h.app.bRenameDuplicate = 1;
    EXPECT_EQ(peer->Exchange(h.port, tftp::Wrq("taken")), tftp::Error(6, "File already exists"));
    EXPECT_EQ(ReadFile(h.in / "taken"), "old");
    EXPECT_FALSE(FileExists(h.in / "taken.1"));

    h.Tick();
    EXPECT_EQ(h.app.ClientCount(), 0);
    EXPECT_EQ(LastCell(h, Col::kResult), "File already exists") << "a retired row stays";

    // No thread for a worker: that client is refused, the next one served.
    h.app.m_LaunchThread = [](std::function<void()>) -> WorkerThread {
        throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again));
    };
    EXPECT_EQ(peer->Exchange(h.port, tftp::Rrq("f")), tftp::Error(0, "Inconclusive system error"));
    EXPECT_EQ(LastCell(h, Col::kResult), "Inconclusive system error");
    EXPECT_EQ(LastCell(h, Col::kStatus), "Done");
    h.app.m_LaunchThread = [](std::function<void()> run) { return WorkerThread(run); };
    EXPECT_EQ(peer->Exchange(h.port, tftp::Rrq("f")), tftp::Data(1, "abc"));

    // Only regular files are read.
    ASSERT_EQ(mkfifo((h.out / "fifo").c_str(), 0644), 0);
    std::filesystem::create_directory(h.out / "sub");
    for (const char* name : {"fifo", "sub", ""}) {
        EXPECT_EQ(peer->Exchange(h.port, tftp::Rrq(name)), tftp::Error(1, "File not found"))
            << name;
    }
    // With each duplicate setting, a name that resolves to a directory moves nothing.
    WriteFile(h.in / "keep", "old");
    for (int setting = 0; setting < 4; ++setting) {
        h.app.bRejectDuplicate = setting == 1;
        h.app.bRenameDuplicate = setting >= 2;
        h.app.bRenameExisting = setting == 3;
        for (const char* name : {"", "/", ".", "..", "./", "sub/.."}) {
            EXPECT_EQ(peer->Exchange(h.port, tftp::Wrq(name)), tftp::Error(2, "Access violation"))
                << "'" << name << "' with setting " << setting;
        }
    }
    EXPECT_EQ(ReadFile(h.in / "keep"), "old");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(h.in.Path()), {}), 2);
}

TEST_F(Request, FirstReplyAndOackFollowTheAcceptedOptionsInFixedOrderClampedNeverWrapped) {
    WriteFile(h.out / "f", PatternBytes(70000));
    struct Case {
        std::uint32_t allowTsize, allowTimeout;
        std::string request, reply;
    };
    const auto read = [](const tftp::Options& options) { return tftp::Rrq("f", "octet", options); };
    const auto blksize = [](const char* value) { return tftp::Options{{"blksize", value}}; };
    const Case cases[] = {
        {1, 1, read({{"blksize", "1024"}, {"timeout", "5"}, {"TSIZE", "0"}}),
         tftp::Oack({{"tsize", "70000"}, {"timeout", "5"}, {"blksize", "1024"}})},
        {0, 1, read({{"tsize", "0"}, {"blksize", "65464"}}), tftp::Oack(blksize("65464"))},
        {1, 0, read({{"timeout", "5"}, {"colour", "5"}}), tftp::Data(1, PatternBytes(512))},
        {1, 1, read(blksize("65465")), tftp::Oack(blksize("65464"))},
        {1, 1, read(blksize("2147483647")), tftp::Oack(blksize("65464"))},
        {1, 1, read(blksize("99999999999999999999999")), tftp::Oack(blksize("65464"))},
        {1, 1, read({{"timeout", "2147483648"}, {"blksize", "8"}}), tftp::Oack(blksize("8"))},
        {1, 1, read({{"timeout", "2147483647"}}), tftp::Oack({{"timeout", "2147483647"}})},
        {1, 1, tftp::Wrq("w", "octet", {{"tsize", "12"}}), tftp::Ack(0)},
        {1, 1, tftp::Wrq("w", "octet", {{"blksize", "600"}, {"tsize", "12"}, {"timeout", "3"}}),
         tftp::Oack({{"timeout", "3"}, {"blksize", "600"}})},
    };
    for (const Case& c : cases) {
        h.app.bAllowTsize = c.allowTsize;
        h.app.bAllowTimeout = c.allowTimeout;
        EXPECT_EQ(peer->Exchange(h.port, c.request), c.reply);
        if (tftp::Opcode(c.reply) == 6 && tftp::Opcode(c.request) == 1) {
            // The agreed block shapes the data that the ACK of the OACK starts.
            const auto at = c.reply.find("blksize");
            const std::size_t block =
                at == std::string::npos ? 512 : std::stoul(c.reply.substr(at + 8));
            EXPECT_EQ(peer->Answer(tftp::Ack(0)), tftp::Data(1, PatternBytes(block)));
        }
    }
}

TEST_F(Request, ClientPathsAreCleanedAndCutOrKeptAndInboundDirectoriesMadeOnlyIfAllowed) {
    std::filesystem::create_directories(h.out / "sub/dir");
    for (const char* relative : {"foo", "sub/dir/foo", "forced"}) {
        WriteFile(h.out / relative, relative);
    }
    const std::tuple<std::uint32_t, std::string, std::string, bool> cases[] = {
        {0, "foo", "foo", false},
        {0, "sub\\dir/foo", "foo", true},
        {0, "../../foo", "foo", true},
        {1, "sub\\dir/foo", "sub/dir/foo", false},
        {1, "sub//dir\\\\foo", "sub/dir/foo", true},
        {1, "..\\..\\sub/dir/foo", "sub/dir/foo", true},
    };
    for (const auto& [keepPaths, name, served, marked] : cases) {
        SCOPED_TRACE(name);
        h.app.bOutboundPaths = keepPaths;
        EXPECT_EQ(peer->Exchange(h.port, tftp::Rrq(name)), tftp::Data(1, served));
        EXPECT_EQ(LastCell(h, Col::kFile), (marked ? "* " : "") + (h.out / served));
    }

    h.app.bForce = 1;
    h.app.ForceFile = "../forced";
    EXPECT_EQ(peer->Exchange(h.port, tftp::Rrq("any/thing")), tftp::Data(1, "forced"));
    EXPECT_EQ(LastCell(h, Col::kFile), "* " + (h.out / "forced"));
    ASSERT_TRUE(Upload(*peer, h.port, "up", "new")) << "writes never take the forced file";
    EXPECT_EQ(ReadFile(h.in / "up"), "new");
    h.app.bForce = 0;

    // With no directory set the working directory is the base; a rooted name stays in it.
    h.app.OutPath.clear();
    h.app.bOutboundPaths = 1;
    EXPECT_EQ(peer->Exchange(h.port, tftp::Rrq(h.out / "foo")), tftp::Error(1, "File not found"));
    EXPECT_EQ(LastCell(h, Col::kFile), "* " + (h.out / "foo").substr(1));

    EXPECT_EQ(peer->Exchange(h.port, tftp::Rrq("a\nb\x1b\x7f")), tftp::Error(1, "File not found"));
    EXPECT_EQ(LastCell(h, Col::kFile), "a\\x0ab\\x1b\\x7f");

    h.app.bCreatePaths = 1;
    ASSERT_TRUE(Upload(*peer, h.port, "a/b/f.bin", "one"));
    EXPECT_EQ(ReadFile(h.in / "f.bin"), "one");
    EXPECT_FALSE(FileExists(h.in / "a"));

    h.app.bInboundPaths = 1;
    ASSERT_TRUE(Upload(*peer, h.port, "a\\b/f.bin", "two"));
    EXPECT_EQ(ReadFile(h.in / "a/b/f.bin"), "two");
    // A directory that cannot be made below a dangling link refuses the write.
    ASSERT_EQ(symlink("/nonexistent-quaylon-target/x", (h.in / "link").c_str()), 0);
    EXPECT_EQ(peer->Exchange(h.port, tftp::Wrq("link/sub/f")), tftp::Error(2, "Access violation"));
    h.app.bCreatePaths = 0;
    EXPECT_EQ(peer->Exchange(h.port, tftp::Wrq("c/f")), tftp::Error(2, "Access violation"));

    // Duplicates replace, take a numbered name or give theirs to the file they replace.
    WriteFile(h.in / "boot.bin", "old");
    WriteFile(h.in / "plain", "old");
    ASSERT_TRUE(Upload(*peer, h.port, "boot.bin", "replaced"));

    h.app.bRenameDuplicate = 1;
    for (const char* name : {"boot.bin", "boot.bin", "plain"}) {
        ASSERT_TRUE(Upload(*peer, h.port, name, "new"));
    }
    EXPECT_EQ(ReadFile(h.in / "boot.bin"), "replaced");
    EXPECT_TRUE(FileExists(h.in / "boot.1.bin") && FileExists(h.in / "boot.2.bin"));
    EXPECT_EQ(ReadFile(h.in / "plain.1"), "new");
    EXPECT_EQ(LastCell(h, Col::kFile), h.in / "plain") << "the row keeps the name asked for";

    h.app.bRenameExisting = 1;
    ASSERT_TRUE(Upload(*peer, h.port, "boot.bin", "n4"));
    EXPECT_EQ(ReadFile(h.in / "boot.bin"), "n4");
    EXPECT_EQ(ReadFile(h.in / "boot.3.bin"), "replaced");
}

TEST_F(Request, DirectionSwitchesRefuseAndMalformedOrOverlongRequestsGetSilence) {
    WriteFile(h.out / "f", "abc");

    h.app.bNoIncoming = 1;
    EXPECT_EQ(peer->Exchange(h.port, tftp::Wrq("up")), kRefusal);
    EXPECT_EQ(peer->LastSenderPort(), h.port);
    EXPECT_EQ(peer->Exchange(h.port, tftp::Rrq("f")), tftp::Data(1, "abc"));
    EXPECT_NE(peer->LastSenderPort(), h.port) << "a transfer answers from its own port";

    h.app.bNoIncoming = 0;
    h.app.bNoOutbound = 1;
    EXPECT_EQ(peer->Exchange(h.port, tftp::Rrq("f")), kRefusal);
    EXPECT_EQ(peer->Exchange(h.port, tftp::Wrq("up")), tftp::Ack(0));
    h.app.bNoOutbound = 0;

    // Malformed and overlong datagrams get silence and no row.
    for (const std::string& packet : {std::string(), std::string("\x00\x01\x00", 3)}) {
        peer->SendTo(h.port, packet);
        EXPECT_TRUE(Silent(*peer)) << packet.size() << " bytes";
    }
    for (std::uint16_t opcode : {0, 3, 5, 6, 0x0101}) {
        peer->SendTo(h.port, bench::Request(static_cast<bench::Opcode>(opcode), "f", "octet", {}));
        EXPECT_TRUE(Silent(*peer)) << "opcode " << opcode;
    }
    // An ignored option pads the request to the size of the receive buffer and one beyond.
    const std::string at512 = tftp::Rrq("f", "octet", {{"pad", std::string(497, '7')}});
    ASSERT_EQ(at512.size(), 512u);
    peer->SendTo(h.port, at512 + '\0');
    EXPECT_TRUE(Silent(*peer)) << "a cut request must not be served";
    EXPECT_EQ(h.model.Rows().size(), 3u) << "the banner and the two clients served";
    EXPECT_EQ(peer->Exchange(h.port, at512), tftp::Data(1, "abc"));
}

TEST_F(Request, SerialsRunFromOneTo1001ThenAgainAndTheClientLimitHoldsUntilTheTickRetires) {
    WriteFile(h.out / "f", "abc");
    h.app.nMaxClientsPos = 5;
    for (int client = 1; client <= 1000; ++client) {
        ASSERT_EQ(tftp::Opcode(peer->Exchange(h.port, tftp::Rrq("missing")).value_or("")), 5);
        if (client % 100 == 0) {
            h.Tick();
        }
    }
    // A running transfer keeps its serial as the key of its row.
    for (std::intptr_t serial : {1001, 1}) {
        ASSERT_EQ(peer->Exchange(h.port, tftp::Rrq("f")), tftp::Data(1, "abc"));
        EXPECT_EQ(h.model.Rows().back().itemData, serial);
        peer->Reply(tftp::Ack(1));
    }
    h.Pump();
    h.Tick();
    h.app.nMaxClientsPos = 0;
    auto second = h.NewPeer("127.0.0.2");
    ASSERT_EQ(peer->Exchange(h.port, tftp::Rrq("f")), tftp::Data(1, "abc"));
    EXPECT_EQ(second->Exchange(h.port, tftp::Rrq("f")), kTooMany);
    EXPECT_EQ(second->LastSenderPort(), h.port);
    // Finished, yet on the table until the tick.
    peer->Reply(tftp::Ack(1));
    h.Pump();
    EXPECT_EQ(second->Exchange(h.port, tftp::Rrq("f")), kTooMany);

    h.Tick();
    EXPECT_EQ(second->Exchange(h.port, tftp::Rrq("f")), tftp::Data(1, "abc"));
    EXPECT_EQ(h.model.Rows().back().itemData, 3) << "refused clients used no serial";
    EXPECT_EQ(LastCell(h, Col::kClient), "127.0.0.2");
}
