#pragma once

#include <cstdint>
#include <string>
#include <vector>

class CServerApp;
class CSettings;

// What the allow, deny and ICMP pages of the options sheet hold, load and store, without a
// window.

// The allow or deny page: its flag and a copy of its rule list, which reaches the server and
// the rule file only when the page is accepted.
struct AddressPageValues {
    bool bDeny = false;
    std::uint32_t bOn = 0;
    std::vector<std::string> lines;

    void Load(const CSettings& settings, bool bDenyPage);
    // The rule of an address entry's four fields; false (and nothing added) if the list holds
    // it already.
    bool Add(const unsigned fields[4]);
    // False when no line is selected (-1) or the line does not exist.
    bool Remove(int line);
    // Flag and list into the server, then both lists to their file.
    void Store(CServerApp& app) const;
};

// The fourteen boxes of the ICMP page, in the order of the page: the left column first, then the
// right one from the top.
struct IcmpBox {
    const char* caption;
    std::uint32_t bit;
    bool bRightColumn;
};
extern const IcmpBox kIcmpBoxes[14];

// The box states for a mask, and the mask for box states; bits without a box are lost.
std::vector<bool> IcmpBoxesOf(std::uint32_t flags);
std::uint32_t IcmpFlagsOf(const std::vector<bool>& checked);
