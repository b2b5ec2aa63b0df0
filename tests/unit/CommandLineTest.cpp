#include <gtest/gtest.h>

#include "app/LongOptions.h"
#include "support/ServerHarness.h"

namespace {
void Parse(CServerApp& app, std::vector<const char*> argv) {
    app.ParseArguments(static_cast<int>(argv.size()), argv.data());
}
}  // namespace

TEST(CommandLine, ShortOptionsInEitherCaseAndSignLongOnesTakenOutFirst) {
    ServerHarness h;
    CServerApp& app = h.app;
    Parse(app, {"/usr/bin/quaylond", "-a3", "/iin/", "-Oout", "stray", "-Zx"});
    EXPECT_EQ(app.m_nArgAddress, 3);
    EXPECT_EQ(app.InPath, "in/");
    EXPECT_EQ(app.OutPath, "out");
    EXPECT_EQ(app.m_bInPathArg + app.m_bOutPathArg, 2u);
    EXPECT_EQ(app.m_AppPath, "/usr/bin/quaylond");

    Parse(app, {"/usr/bin/quaylond", "-A12"});
    EXPECT_EQ(app.m_nArgAddress, 1) << "only the first character counts";
    Parse(app, {"/usr/bin/quaylond", "-Ax"});
    EXPECT_EQ(app.m_nArgAddress, -1);

    // A relative program path gives way to the stored location.
    app.m_StoredLocation = "/opt/q/quaylond";
    Parse(app, {"quaylond"});
    EXPECT_EQ(app.m_AppPath, "/opt/q/quaylond");

    // Long options are taken out before short ones are read.
    const char* argv[] = {"quaylond", "--config-dir", "/implicit", "--bind=127.0.0.5",
                          "--port",   "6969",         "-I/in/"};
    const LongOptions options = ParseLongOptions(7, argv);
    ASSERT_EQ(options.error, "");
    EXPECT_EQ(options.configDir, "/implicit");
    EXPECT_EQ(options.bindAddress, "127.0.0.5");
    EXPECT_EQ(options.port, "6969");
    EXPECT_EQ(options.remaining, (std::vector<std::string>{"quaylond", "-I/in/"}));

    for (std::vector<const char*> bad : {std::vector<const char*>{"q", "--port", "70000"},
                                         {"q", "--bind", "localhost"},
                                         {"q", "--bind"},
                                         {"q", "--frobnicate"}}) {
        EXPECT_NE(ParseLongOptions(static_cast<int>(bad.size()), bad.data()).error, "") << bad[1];
    }
}
