#include <gtest/gtest.h>

#include "interop/DaemonProcess.h"
#include "support/TftpPeer.h"

namespace {

// A daemon started with no -I, -O or --port: its port, its directory and its address rules
// come from a store as an earlier run left it.
struct StoredDaemon : ServingDaemon {
    StoredDaemon(const std::string& flags, const std::string& rules) : ServingDaemon(false) {
        WriteFile(config / "rules.dat", rules);
        WriteFile(out / "f.bin", PatternBytes(1500));
        Start([&](std::uint16_t p) {
            WriteFile(config / "registry.reg",
                      "Windows Registry Editor Version 5.00\n\n"
                      "[HKEY_CURRENT_USER\\Software\\Orrelin\\Quaylon]\n\"OutPath\"=\"" +
                          out.Dir() + "\"\n\"Port\"=\"" + std::to_string(p) + "\"\n\"ADData\"=\"" +
                          (config / "rules.dat") + "\"\n\"bDelete\"=dword:0000070e\n" + flags);
            return std::vector<std::string>{"--bind", "127.0.0.1", "--config-dir", config.Path()};
        });
    }
    ClientResult Get() { return RunClient({"curl", "-sS", "-o", scratch / "f.bin", Url("f.bin")}); }
};

TEST(StoredSettings, DenyListFromTheStoreRefusesRealClients) {
    // No allow rule; one deny rule of nine characters.
    StoredDaemon d("\"bDeny\"=dword:00000001\n",
                   std::string("\0\0\0\0\1\0\0\0\x09", 9) + "127.0.0.*");
    ASSERT_TRUE(d.bServing) << d.process->Stderr();
    EXPECT_NE(d.Get().status, 0);
    // curl words a refusal from the listening port in its own way; the packet tells the truth.
    TftpPeer peer(nullptr);
    EXPECT_EQ(tftp::ErrorText(peer.Exchange(d.port, tftp::Rrq("f.bin")).value_or("")),
              "Service not available");
    EXPECT_EQ(d.process->Stop(), 0);
    const std::string log = ReadFile(d.process->home / "Quaylon.log");
    EXPECT_EQ(log.find("127.0.0.1"), std::string::npos) << "nobody got in: " << log;
}

TEST(StoredSettings, AllowListFromTheStoreAdmitsItsAddresses) {
    StoredDaemon d("\"bAllow\"=dword:00000001\n\"bDeny\"=dword:00000001\n",
                   std::string("\1\0\0\0\x09", 5) + "127.0.0.1" + std::string(4, '\0'));
    ASSERT_TRUE(d.bServing) << d.process->Stderr();
    const ClientResult get = d.Get();
    EXPECT_EQ(get.status, 0) << get.err;
    EXPECT_TRUE(FileHolds(d.scratch / "f.bin", PatternBytes(1500)));
}

}  // namespace
