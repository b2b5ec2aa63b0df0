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

// The command's words go as arguments of their own behind -c.
ClientResult Tftp(const ServingDaemon& d, const std::string& mode, const std::string& command,
                  const std::string& from, const std::string& to) {
    return RunClient(
        {"tftp", "-m", mode, "127.0.0.1", std::to_string(d.port), "-c", command, from, to});
}

TEST(TftpHpa, BinaryAndAsciiFilesSurviveBothDirectionsAndMissingOnesAreReported) {
    ServingDaemon d;
    ASSERT_TRUE(d.bServing) << d.process->Stderr();
    ExpectRoundTrips(d, 512, [&](bool bGet, const std::string& remote, const std::string& local) {
        return bGet ? Tftp(d, "binary", "get", remote, local)
                    : Tftp(d, "binary", "put", local, remote);
    });
    // This client ends with status 0 whatever happened, so its message is what tells.
    const ClientResult missing = Tftp(d, "binary", "get", "none.bin", d.scratch / "none.bin");
    EXPECT_NE((missing.out + missing.err).find("Error code 1: File not found"), std::string::npos)
        << missing.out << missing.err;

    // Lines of many lengths put line ends on block edges, one of them behind a bare CR; 256 line
    // ends are exactly one block on the wire, so an empty block ends that transfer.
    std::string text;
    for (int line = 0; line < 400; ++line) {
        text += std::string(line % 100, static_cast<char>('a' + line % 26)) +
                (line == 200 ? "\rcarriage\n" : "\n");
    }
    for (const auto& [name, content] :
         {std::pair{"text.txt", text}, {"blank.txt", std::string(256, '\n')}}) {
        SCOPED_TRACE(name);
        WriteFile(d.out / name, content);
        const ClientResult get = Tftp(d, "ascii", "get", name, d.scratch / name);
        EXPECT_TRUE(FileHolds(d.scratch / name, content)) << get.out << get.err;
        const ClientResult put = Tftp(d, "ascii", "put", d.out / name, std::string("up-") + name);
        EXPECT_TRUE(FileHolds(d.in / (std::string("up-") + name), content)) << put.out << put.err;
    }
}

// A get (-g) or put (-p) with all three options, so every transfer starts with an OACK.
ClientResult Atftp(const ServingDaemon& d, const std::string& direction, const std::string& local,
                   const std::string& remote) {
    return RunClient({"atftp", "--option", "blksize 1428", "--option", "tsize", "--option",
                      "timeout 3", direction, "-l", local, "-r", remote, "127.0.0.1",
                      std::to_string(d.port)});
}

TEST(Atftp, FilesWithNegotiatedOptionsSurviveBothDirectionsAndMissingOnesFail) {
    ServingDaemon d;
    ASSERT_TRUE(d.bServing) << d.process->Stderr();
    ExpectRoundTrips(d, 1428, [&](bool bGet, const std::string& remote, const std::string& local) {
        return Atftp(d, bGet ? "-g" : "-p", local, remote);
    });
    const ClientResult missing = Atftp(d, "-g", d.scratch / "none.bin", "none.bin");
    EXPECT_NE(missing.status, 0);
    EXPECT_NE(missing.err.find("File not found"), std::string::npos) << missing.err;
}

}  // namespace
