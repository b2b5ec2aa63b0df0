#include <gtest/gtest.h>

#include <sstream>

#include "policy/AddressRules.h"
#include "support/ServerHarness.h"

namespace {
const std::string kRefusal("\x00\x05\x00\x00Service not available\x00\x00", 27);
}

TEST(MatchRule, WildcardsShortRulesAndOddText) {
    EXPECT_EQ(MatchRule(192, 168, 1, 255, "192.168.1.*"), 1);
    EXPECT_EQ(MatchRule(192, 168, 2, 1, "192.168.1.*"), 0);
    EXPECT_EQ(MatchRule(10, 1, 2, 3, "*.*.*.*"), 1);
    // Missing fields stand for 0.
    EXPECT_EQ(MatchRule(10, 7, 0, 0, "10.*"), 1);
    EXPECT_EQ(MatchRule(10, 7, 0, 1, "10.*"), 0);
    EXPECT_EQ(MatchRule(10, 1, 1, 1, "010.1.1.1"), 1) << "numbers compare as numbers";
    EXPECT_EQ(MatchRule(0, 0, 0, 0, ""), 0) << "an empty rule matches nothing";
    // A '*' voids the rest of its field; other characters are stepped over.
    EXPECT_EQ(MatchRule(1, 2, 3, 4, "1.*9.3.4"), 1);
    EXPECT_EQ(MatchRule(1, 2, 3, 4, "1.x2.3.4 trailing"), 1);
    EXPECT_EQ(MatchRule(1, 2, 3, 4, "1.2.3.4.5"), 1) << "a fifth field is not looked at";
}

TEST(RuleFile, CountedStringsInAllThreePrefixForms) {
    for (std::size_t length : {0u, 15u, 254u, 255u, 0xFFFDu, 0xFFFEu, 70000u}) {
        std::stringstream buffer;
        WriteCountedString(buffer, std::string(length, 'r'));
        const std::string bytes = buffer.str();
        const std::size_t prefix = length < 255 ? 1 : (length < 0xFFFE ? 3 : 7);
        EXPECT_EQ(bytes.size(), prefix + length) << length;
        std::string back;
        ASSERT_TRUE(ReadCountedString(buffer, back)) << length;
        EXPECT_EQ(back.size(), length);
    }
    std::stringstream shortFile(
        std::string("\x05"
                    "ab",
                    3));
    std::string text;
    EXPECT_FALSE(ReadCountedString(shortFile, text));
}

TEST(RuleFile, SavedByteForByteAndReadBackEvenWhenCutShort) {
    ServerHarness h;
    TempDir dir;
    h.app.ADData = dir / "rules.dat";
    h.app.m_AllowList = {"192.168.1.*"};
    h.app.SaveRules();
    EXPECT_EQ(ReadFile(h.app.ADData), std::string("\x01\x00\x00\x00\x0B"
                                                  "192.168.1.*"
                                                  "\x00\x00\x00\x00",
                                                  20));

    h.app.m_AllowList.clear();
    h.app.SaveRules();
    EXPECT_EQ(ReadFile(h.app.ADData), std::string(8, '\0'));

    h.app.m_AllowList = {"10.*.*.*", "127.0.0.1"};
    h.app.m_DenyList = {"127.0.0.2", "255.255.255.255"};
    h.app.SaveRules();
    std::string full = ReadFile(h.app.ADData);
    h.app.m_AllowList.clear();
    h.app.m_DenyList.clear();
    h.app.bAllow = h.app.bDeny = 1;
    h.app.LoadRules();
    EXPECT_EQ(h.app.m_AllowList, (std::list<std::string>{"10.*.*.*", "127.0.0.1"}));
    EXPECT_EQ(h.app.m_DenyList, (std::list<std::string>{"127.0.0.2", "255.255.255.255"}));
    EXPECT_EQ(h.app.bAllow, 1u);

    // Cut inside the first deny rule: what was read stays, the flags too.
    WriteFile(h.app.ADData, full.substr(0, full.size() - 20));
    h.app.m_AllowList.clear();
    h.app.m_DenyList.clear();
    h.app.LoadRules();
    EXPECT_EQ(h.app.m_AllowList.size(), 2u);
    EXPECT_TRUE(h.app.m_DenyList.empty());
    EXPECT_EQ(h.app.bDeny, 1u);

    // A missing file switches both lists off.
    h.app.ADData = dir / "none.dat";
    h.app.LoadRules();
    EXPECT_EQ(h.app.bAllow, 0u);
    EXPECT_EQ(h.app.bDeny, 0u);

    // A file that cannot be made is told to the operator with its name.
    h.app.ADData = dir / "no/such/dir/rules.dat";
    h.app.SaveRules();
    ASSERT_FALSE(h.op.messages.empty());
    EXPECT_EQ(h.op.messages.back(), "Unable to create or Open the file :\n" + h.app.ADData);
}

TEST(RuleFile, DefaultPlaceIsBesideTheProgram) {
    ServerHarness h;
    h.app.m_AppPath = "/opt/quaylon/bin/quaylond";
    EXPECT_EQ(h.app.RulesFileName(), "/opt/quaylon/bin/AllowDeny.dat");
    h.app.m_AppPath = "quaylond";
    EXPECT_EQ(h.app.RulesFileName(), "quaylondAllowDeny.dat");
}

TEST(AddressGates, DenyBeforeAllowAndEmptyAllowListRefusesEverybody) {
    ServerHarness h;
    WriteFile(h.out / "f", "data");
    ASSERT_TRUE(h.Start());
    auto one = h.NewPeer("127.0.0.1");
    auto two = h.NewPeer("127.0.0.2");
    auto three = h.NewPeer("127.0.0.3");

    h.app.m_DenyList = {"127.0.0.2"};
    h.app.m_AllowList = {"127.0.0.*"};
    // Lists are not in force while their flags are off.
    auto served = two->Exchange(h.port, tftp::Rrq("f"));
    ASSERT_TRUE(served);
    EXPECT_EQ(tftp::Opcode(*served), 3);

    h.app.bDeny = 1;
    h.app.bAllow = 1;
    EXPECT_EQ(two->Exchange(h.port, tftp::Rrq("f")), kRefusal) << "deny wins over allow";
    // A denied address is refused even for a datagram too short to be a request.
    EXPECT_EQ(two->Exchange(h.port, "ab"), kRefusal);
    auto allowed = three->Exchange(h.port, tftp::Rrq("f"));
    ASSERT_TRUE(allowed);
    EXPECT_EQ(tftp::Opcode(*allowed), 3);
    // An allowed address gets silence for a malformed datagram.
    EXPECT_FALSE(three->Exchange(h.port, "ab", 200));

    h.app.m_AllowList.clear();
    EXPECT_EQ(one->Exchange(h.port, tftp::Rrq("f")), kRefusal);
    const std::size_t rows = h.model.Rows().size();
    EXPECT_EQ(rows, 3u) << "refusals leave no row";
}
