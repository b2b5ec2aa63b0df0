#include "interop/DaemonProcess.h"

namespace {

// With no -I, -O or --port, the port, the directory and both address lists come from a store as
// an earlier run left it: everybody on 127.0.0.* allowed, 127.0.0.2 denied all the same.
TEST(StoredSettings, PortDirectoryAndAddressListsFromTheStoreGovernRealClients) {
    ServingDaemon d([](const ServingDaemon& d) {
        WriteFile(d.config / "rules.dat", std::string("\1\0\0\0\x09", 5) + "127.0.0.*" +
                                              std::string("\1\0\0\0\x09", 5) + "127.0.0.2");
        WriteFile(d.config / "registry.reg",
                  "Windows Registry Editor Version 5.00\n\n"
                  "[HKEY_CURRENT_USER\\Software\\Orrelin\\Quaylon]\n\"OutPath\"=\"" +
                      d.out.Dir() + "\"\n\"Port\"=\"" + std::to_string(d.port) +
                      "\"\n\"ADData\"=\"" + (d.config / "rules.dat") +
                      "\"\n\"bDelete\"=dword:0000070e\n\"bAllow\"=dword:00000001\n"
                      "\"bDeny\"=dword:00000001\n");
        return std::vector<std::string>{"--bind", "127.0.0.1", "--config-dir", d.config.Path()};
    });
    ASSERT_TRUE(d.bServing) << d.process->Stderr();
    WriteFile(d.out / "f.bin", PatternBytes(1500));
    const ClientResult get = RunClient({"curl", "-sS", "-o", d.scratch / "f.bin", d.Url("f.bin")});
    EXPECT_EQ(get.status, 0) << get.err;
    EXPECT_TRUE(FileHolds(d.scratch / "f.bin", PatternBytes(1500)));
    // curl cannot speak from 127.0.0.2; the raw packet can.
    EXPECT_EQ(ErrorFor(d.port, "f.bin", "127.0.0.2"), "Service not available");
    EXPECT_EQ(d.process->Stop(), 0);
    const std::string log = ReadFile(d.process->home / "Quaylon.log");
    EXPECT_EQ(log.find("127.0.0.2"), std::string::npos) << "a refusal leaves no row: " << log;
}

}  // namespace
