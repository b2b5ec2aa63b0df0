#include <gtest/gtest.h>

#include <vector>

#include "extras/IcmpMonitor.h"

namespace {

// A datagram as the raw socket gives it: a 20-byte IPv4 header from 10.0.7.octet, then the type.
std::vector<unsigned char> Datagram(std::uint8_t type, unsigned char octet = 1) {
    std::vector<unsigned char> packet(28, 0);
    packet[0] = 0x45;
    packet[12] = 10, packet[13] = 0, packet[14] = 7, packet[15] = octet;
    packet[20] = type;
    return packet;
}

}  // namespace

TEST(IcmpMonitor, ClassifiesEveryTypeKeepsTheChosenOnesNewestFirstAndAtMostAThousand) {
    const char* const names[] = {
        "Echo Reply",        "Destination unreachable", "Source quench",     "Redirect",
        "Echo request",      "Time exceeded",           "IP unintelligible", "Timestamp request",
        "Timestamp reply",   "Information request",     "Information reply", "Address mask request",
        "Address mask reply"};
    const int named[] = {0, 3, 4, 5, 8, 11, 12, 13, 14, 15, 16, 17, 18};
    for (int row = 0; row < 13; ++row) {
        const IcmpKind kind = ClassifyIcmp(static_cast<std::uint8_t>(named[row]));
        EXPECT_EQ(kind.bit, 1u << row);
        EXPECT_EQ(kind.text, names[row]);
    }
    for (const auto& [type, text] : std::vector<std::pair<int, std::string>>{
             {1, "1"}, {9, "9"}, {10, "A"}, {19, "13"}, {42, "2A"}, {255, "FF"}}) {
        const IcmpKind kind = ClassifyIcmp(static_cast<std::uint8_t>(type));
        EXPECT_EQ(kind.bit, 0x2000u);
        EXPECT_EQ(kind.text, "Unassigned report (" + text + ")");
    }

    CIcmpReportRows rows;
    const auto add = [&rows](const std::vector<unsigned char>& packet, std::uint32_t flags) {
        return rows.AddReport(packet.data(), static_cast<int>(packet.size()), flags, "now");
    };
    EXPECT_FALSE(add(Datagram(8), 0).bInserted);        // nothing chosen at the start
    EXPECT_FALSE(add(Datagram(0), 0x0010).bInserted);   // a reply while requests are chosen
    EXPECT_FALSE(add(Datagram(42), 0x1fff).bInserted);  // unassigned needs its own bit
    EXPECT_FALSE(rows.AddReport(Datagram(8).data(), 20, 0x0010, "now").bInserted);  // no type
    EXPECT_TRUE(add(Datagram(42, 9), 0x2000).bInserted);
    // Header options are not looked for: byte 20 is the type whatever stands there.
    std::vector<unsigned char> withOptions = Datagram(8, 2);
    withOptions[0] = 0x46;
    EXPECT_TRUE(add(withOptions, 0x0010).bInserted);
    ASSERT_EQ(rows.Rows().size(), 2u);
    EXPECT_EQ(rows.Rows()[0].source + " " + rows.Rows()[0].message, "10.0.7.2 Echo request");
    EXPECT_EQ(rows.Rows()[1].message, "Unassigned report (2A)");

    for (int i = 0; i < 998; ++i) {
        EXPECT_EQ(add(Datagram(3), 0x0002).nRemovedFromEnd, 0u);
    }
    const CIcmpReportRows::Change change = add(Datagram(5, 4), 0x0008);
    EXPECT_TRUE(change.bInserted);
    EXPECT_EQ(change.nRemovedFromEnd, 1u);
    ASSERT_EQ(rows.Rows().size(), 1000u);
    EXPECT_EQ(rows.Rows().front().message, "Redirect");
    EXPECT_EQ(rows.Rows().back().source, "10.0.7.2");  // the oldest went, not the next
}
