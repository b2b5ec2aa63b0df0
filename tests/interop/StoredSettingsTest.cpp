#include <gtest/gtest.h>

#include <sstream>

#include "interop/DaemonProcess.h"
#include "policy/AddressRules.h"
#include "support/ServerHarness.h"

namespace {

constexpr char kRefused[] = "Service not available";

// A store as an operator's earlier run left it: the daemon is started with no -I, -O or --port,
// so everything it serves with comes from here.
struct StoredDaemon {
    StoredDaemon(const std::string& extraValues, const std::vector<std::string>& allow,
                 const std::vector<std::string>& deny, std::size_t cutRulesTo = 0) {
        std::ostringstream rules;
        for (const auto* list : {&allow, &deny}) {
            const auto count = static_cast<std::uint32_t>(list->size());
            rules.write(reinterpret_cast<const char*>(&count), 4);  // little-endian here
            for (const std::string& rule : *list) {
                WriteCountedString(rules, rule);
            }
        }
        std::string bytes = rules.str();
        if (cutRulesTo != 0) {
            bytes.resize(cutRulesTo);
        }
        WriteFile(rulesFile, bytes);
        for (int attempt = 0; attempt < 3 && !bServing; ++attempt) {
            port = FreeUdpPort();
            WriteFile(config / "registry.reg",
                      "Windows Registry Editor Version 5.00\n\n"
                      "[HKEY_CURRENT_USER\\Software\\Orrelin\\Quaylon]\n"
                      "\"OutPath\"=\"" +
                          out.Dir() + "\"\n\"Port\"=\"" + std::to_string(port) +
                          "\"\n\"ADData\"=\"" + rulesFile + "\"\n\"bDelete\"=dword:0000070e\n" +
                          extraValues);
            process = std::make_unique<DaemonProcess>(
                std::vector<std::string>{"--bind", "127.0.0.1", "--config-dir", config.Path()});
            bServing = process->WaitForStdout("Quaylon serving on 127.0.0.1." +
                                              std::to_string(port) + "\n");
        }
        WriteFile(out / "f.bin", PatternBytes(1500));
    }

    // What curl makes of a download: its exit status and its complaint.
    ClientResult Get() {
        return RunClient({"curl", "-sS", "-o", scratch / "f.bin",
                          "tftp://127.0.0.1:" + std::to_string(port) + "/f.bin"});
    }

    // curl words a refusal from the listening port in its own way; the packet tells the truth.
    bool Refused() {
        if (Get().status == 0) {
            return false;
        }
        TftpPeer peer(nullptr);
        const auto reply = peer.Exchange(port, tftp::Rrq("f.bin"));
        return reply && tftp::Opcode(*reply) == 5 && tftp::ErrorText(*reply) == kRefused;
    }

    TempDir out, config, rulesDir, scratch;
    std::string rulesFile = rulesDir / "rules.dat";
    std::uint16_t port = 0;
    bool bServing = false;
    std::unique_ptr<DaemonProcess> process;
};

}  // namespace

TEST(StoredSettings, PortDirectoryAndDenyListComeFromTheStore) {
    StoredDaemon d("\"bDeny\"=dword:00000001\n", {}, {"127.0.0.*"});
    ASSERT_TRUE(d.bServing) << d.process->Stderr();
    EXPECT_TRUE(d.Refused());
    EXPECT_EQ(d.process->Stop(), 0);
    // Nobody got in, so the log holds the banner alone.
    const std::string log = ReadFile(d.process->Home() / "Quaylon.log");
    EXPECT_EQ(log.find("127.0.0.1"), std::string::npos) << log;
}

TEST(StoredSettings, AllowListAdmitsOnlyItsAddressesAndDenyWins) {
    {
        StoredDaemon empty("\"bAllow\"=dword:00000001\n", {}, {});
        ASSERT_TRUE(empty.bServing) << empty.process->Stderr();
        EXPECT_TRUE(empty.Refused()) << "an empty allow list refuses everybody";
    }
    {
        StoredDaemon allowed("\"bAllow\"=dword:00000001\n", {"10.*.*.*", "127.0.0.1"}, {});
        ASSERT_TRUE(allowed.bServing);
        const ClientResult get = allowed.Get();
        EXPECT_EQ(get.status, 0) << get.err;
        EXPECT_TRUE(FileHolds(allowed.scratch / "f.bin", PatternBytes(1500)));
    }
    {
        StoredDaemon both("\"bAllow\"=dword:00000001\n\"bDeny\"=dword:00000001\n", {"127.*.*.*"},
                          {"127.0.0.1"});
        ASSERT_TRUE(both.bServing);
        EXPECT_TRUE(both.Refused()) << "deny goes first";
    }
}

TEST(StoredSettings, ACutRulesFileKeepsWhatWasReadAndAMissingOneTurnsTheListsOff) {
    // The allow list is whole; the deny list's one rule is cut off: nobody is denied.
    const std::size_t cut = 4 + 1 + 9 + 4 + 1 + 3;
    StoredDaemon d("\"bAllow\"=dword:00000001\n\"bDeny\"=dword:00000001\n", {"127.0.0.1"},
                   {"127.0.0.1"}, cut);
    ASSERT_TRUE(d.bServing) << d.process->Stderr();
    EXPECT_EQ(d.Get().status, 0);
    ASSERT_EQ(d.process->Stop(), 0);

    // Without the file both lists go out of force, and the orderly end stores that.
    std::remove(d.rulesFile.c_str());
    DaemonProcess again({"--bind", "127.0.0.1", "--config-dir", d.config.Path()});
    ASSERT_TRUE(again.WaitForStdout("Quaylon serving on")) << again.Stderr();
    EXPECT_EQ(d.Get().status, 0);
    EXPECT_EQ(again.Stop(), 0);
    const std::string store = ReadFile(d.config / "registry.reg");
    EXPECT_NE(store.find("\"bAllow\"=dword:00000000"), std::string::npos) << store;
    EXPECT_NE(store.find("\"bDeny\"=dword:00000000"), std::string::npos) << store;
    EXPECT_NE(store.find("\"Port\"=\"" + std::to_string(d.port) + "\""), std::string::npos);
}
