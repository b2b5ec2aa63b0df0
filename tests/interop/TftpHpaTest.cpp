#include <gtest/gtest.h>

#include "interop/DaemonProcess.h"

namespace {

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

}  // namespace
