#include <sstream>

#include "policy/AddressRules.h"
#include "unit/PeerSteps.h"

using AddressGates = Served;

TEST(RuleFormat, WildcardsShortRulesOddTextAndCountedStringsInAllThreePrefixForms) {
    EXPECT_EQ(MatchRule(192, 168, 1, 255, "192.168.1.*"), 1);
    EXPECT_EQ(MatchRule(192, 168, 2, 1, "192.168.1.*"), 0);
    // Missing fields stand for 0.
    EXPECT_EQ(MatchRule(10, 7, 0, 0, "10.*"), 1);
    EXPECT_EQ(MatchRule(10, 7, 0, 1, "10.*"), 0);
    EXPECT_EQ(MatchRule(10, 1, 1, 1, "010.1.1.1"), 1) << "numbers compare as numbers";
    EXPECT_EQ(MatchRule(0, 0, 0, 0, ""), 0) << "an empty rule matches nothing";
    // A '*' voids the rest of its field; other characters are stepped over.
    EXPECT_EQ(MatchRule(1, 2, 3, 4, "1.*9.3.4"), 1);
    EXPECT_EQ(MatchRule(1, 2, 3, 4, "1.x2.3.4 trailing"), 1);

    for (std::size_t length : {254u, 255u, 0xFFFDu, 0xFFFEu}) {
        std::stringstream buffer;
        WriteCountedString(buffer, std::string(length, 'r'));
        const std::size_t prefix = length < 255 ? 1 : (length < 0xFFFE ? 3 : 7);
        EXPECT_EQ(buffer.str().size(), prefix + length) << length;
        std::string back;
        ASSERT_TRUE(ReadCountedString(buffer, back)) << length;
        EXPECT_EQ(back.size(), length);
    }
}

TEST_F(AddressGates, DenyBeforeAllowEmptyAllowListRefusesEverybodyAndTheFileKeepsTheRules) {
    // The rules are saved byte for byte and read back even when cut short.
    h.app.ADData = h.config / "rules.dat";
    h.app.m_AllowList = {"192.168.1.*"};
    h.app.SaveRules();
    EXPECT_EQ(ReadFile(h.app.ADData), std::string("\x01\x00\x00\x00\x0B"
                                                  "192.168.1.*"
                                                  "\x00\x00\x00\x00",
                                                  20));

    h.app.m_AllowList = {"10.*.*.*", "127.0.0.1"};
    h.app.m_DenyList = {"127.0.0.2", "255.255.255.255"};
    h.app.SaveRules();
    // Cut inside the first deny rule: what was read stays, the flags too.
    const std::string full = ReadFile(h.app.ADData);
    WriteFile(h.app.ADData, full.substr(0, full.size() - 20));
    h.app.m_AllowList.clear();
    h.app.m_DenyList.clear();
    h.app.bAllow = h.app.bDeny = 1;
    h.app.LoadRules();
    EXPECT_EQ(h.app.m_AllowList, (std::list<std::string>{"10.*.*.*", "127.0.0.1"}));
    EXPECT_TRUE(h.app.m_DenyList.empty());
    EXPECT_EQ(h.app.bDeny, 1u);

    // A missing file switches both lists off.
    h.app.ADData = h.config / "none.dat";
    h.app.LoadRules();
    EXPECT_EQ(h.app.bAllow + h.app.bDeny, 0u);

    // Deny before allow; an empty allow list refuses everybody.
    WriteFile(h.out / "f", "data");
    auto two = h.NewPeer("127.0.0.2");
    auto three = h.NewPeer("127.0.0.3");
    h.app.m_DenyList = {"127.0.0.2"};
    h.app.m_AllowList = {"127.0.0.*"};
    EXPECT_EQ(two->Exchange(h.port, tftp::Rrq("f")), tftp::Data(1, "data"))
        << "lists are not in force while their flags are off";

    h.app.bDeny = 1;
    h.app.bAllow = 1;
    EXPECT_EQ(two->Exchange(h.port, tftp::Rrq("f")), kRefusal) << "deny wins over allow";
    EXPECT_EQ(two->Exchange(h.port, "ab"), kRefusal) << "even for a datagram too short";
    EXPECT_EQ(three->Exchange(h.port, tftp::Rrq("f")), tftp::Data(1, "data"));
    EXPECT_FALSE(three->Exchange(h.port, "ab", 200)) << "an allowed address gets silence";

    h.app.m_AllowList.clear();
    EXPECT_EQ(peer->Exchange(h.port, tftp::Rrq("f")), kRefusal);
    EXPECT_EQ(h.model.Rows().size(), 3u) << "refusals leave no row";
}
