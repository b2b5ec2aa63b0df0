#include "console/FilterPages.h"

#include <algorithm>

#include "policy/AddressRules.h"
#include "server/ServerApp.h"

void AddressPageValues::Load(const CSettings& s, bool bDenyPage) {
    bDeny = bDenyPage;
    bOn = bDeny ? s.bDeny : s.bAllow;
    const std::list<std::string>& rules = bDeny ? s.m_DenyList : s.m_AllowList;
    lines.assign(rules.begin(), rules.end());
}

bool AddressPageValues::Add(const unsigned fields[4]) {
    const std::string rule = RuleText(fields);
    if (std::find(lines.begin(), lines.end(), rule) != lines.end()) {
        return false;
    }
    lines.push_back(rule);
    return true;
}

bool AddressPageValues::Remove(int line) {
    if (line < 0 || line >= static_cast<int>(lines.size())) {
        return false;
    }
    lines.erase(lines.begin() + line);
    return true;
}

void AddressPageValues::Store(CServerApp& app) const {
    (bDeny ? app.bDeny : app.bAllow) = bOn != 0;
    std::list<std::string>& rules = bDeny ? app.m_DenyList : app.m_AllowList;
    rules.assign(lines.begin(), lines.end());
    app.SaveRules();
}

const IcmpBox kIcmpBoxes[14] = {
    {"Echo reply", 0x0001, false},          {"Destination unreachable", 0x0002, false},
    {"Source quench", 0x0004, false},       {"Redirect", 0x0008, false},
    {"Echo request", 0x0010, false},        {"Time exceeded", 0x0020, false},
    {"IP unintelligible", 0x0040, false},   {"Unknown messages", 0x2000, true},
    {"Timestamp request", 0x0080, true},    {"Timestamp reply", 0x0100, true},
    {"Information request", 0x0200, true},  {"Information reply", 0x0400, true},
    {"Address mask request", 0x0800, true}, {"Address mask reply", 0x1000, true},
};

std::vector<bool> IcmpBoxesOf(std::uint32_t flags) {
    std::vector<bool> checked;
    for (const IcmpBox& box : kIcmpBoxes) {
        checked.push_back((flags & box.bit) != 0);
    }
    return checked;
}

std::uint32_t IcmpFlagsOf(const std::vector<bool>& checked) {
    std::uint32_t flags = 0;
    for (std::size_t i = 0; i < std::size(kIcmpBoxes) && i < checked.size(); ++i) {
        if (checked[i]) {
            flags |= kIcmpBoxes[i].bit;
        }
    }
    return flags;
}
