#include "bench/LoadClient.h"
#include "interop/DaemonProcess.h"
#include "interop/LossyProxy.h"

// Every transfer the client saw through is whole; an upload that failed leaves the old file.
TEST(Loss, TransfersThroughALossyRelayEndWholeOrLeaveTheOldFile) {
    ServingDaemon d([](const ServingDaemon& self) {
        // No client limit: finished clients leave the table only at the 5-second tick.
        WriteFile(self.config / "registry.reg",
                  "Windows Registry Editor Version 5.00\n\n"
                  "[HKEY_CURRENT_USER\\Software\\Orrelin\\Quaylon]\n"
                  "\"bDelete\"=dword:0000070e\n\"nSliders\"=dword:00000065\n");
        return self.Args();
    });
    ASSERT_TRUE(d.bServing) << d.process->Stderr();
    LossyProxy proxy(d.port);
    for (int i = 0; i < 40; ++i) {
        const std::string name = "f" + std::to_string(i);
        const std::string content = PatternBytes(static_cast<std::size_t>(i * 7919 % 60000), i);
        const bool bWrite = i % 2 == 1;
        const bool bOld = i % 4 == 1;
        WriteFile((bWrite ? d.in : d.out) / name, bWrite ? "old" : content);
        if (bWrite && !bOld) {
            std::remove((d.in / name).c_str());
        }
        bench::LoadPlan plan;
        plan.spec.port = proxy.Port();
        plan.spec.remote = name;
        plan.spec.direction = bWrite ? bench::Direction::Write : bench::Direction::Read;
        plan.spec.local = content;
        plan.spec.blksize = i % 3 == 0 ? std::optional<std::size_t>(1024) : std::nullopt;
        plan.spec.retryMs = 30;
        plan.spec.maxRetries = 20;
        plan.deadlineSeconds = 30;
        const bench::TransferResult result = bench::RunLoad(plan).transfers.at(0);
        EXPECT_TRUE(result.bOk) << name << ": " << result.failure;
        if (bWrite) {
            const std::string now = FileExists(d.in / name) ? ReadFile(d.in / name) : "(none)";
            EXPECT_TRUE(now == content || (!result.bOk && now == (bOld ? "old" : "(none)")))
                << name;
        }
    }
    EXPECT_GT(proxy.Dropped(), 50);
}
