#include "policy/AddressRules.h"

#include <algorithm>

namespace {

void WriteLittleEndian(std::ostream& out, std::uint32_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) {
        out.put(static_cast<char>((value >> (8 * i)) & 0xFF));
    }
}

bool ReadLittleEndian(std::istream& in, std::uint32_t& value, int bytes) {
    value = 0;
    for (int i = 0; i < bytes; ++i) {
        const int c = in.get();
        if (c == std::char_traits<char>::eof()) {
            return false;
        }
        value |= static_cast<std::uint32_t>(c) << (8 * i);
    }
    return true;
}

bool ReadList(std::istream& in, std::list<std::string>& list) {
    std::uint32_t count = 0;
    if (!ReadLittleEndian(in, count, 4)) {
        return false;
    }
    for (std::uint32_t i = 0; i < count; ++i) {
        std::string rule;
        if (!ReadCountedString(in, rule)) {
            return false;
        }
        list.push_back(std::move(rule));
    }
    return true;
}

void WriteList(std::ostream& out, const std::list<std::string>& list) {
    WriteLittleEndian(out, static_cast<std::uint32_t>(list.size()), 4);
    for (const std::string& rule : list) {
        WriteCountedString(out, rule);
    }
}

}  // namespace

int MatchRule(int nOctet1, int nOctet2, int nOctet3, int nOctet4, const std::string& strRule) {
    if (strRule.empty()) {
        return 0;
    }
    int pattern[4] = {0, 0, 0, 0};
    std::size_t pos = 0;
    for (int field = 0; field < 4; ++field) {
        while (pos < strRule.size()) {
            const char c = strRule[pos];
            if (c == '.') {
                ++pos;
                break;
            }
            if (c == '*') {
                pattern[field] = -1;
                while (pos < strRule.size() && strRule[pos] != '.') {
                    ++pos;
                }
            } else {
                if (c >= '0' && c <= '9') {
                    // Held above every octet, so that a long field cannot overflow.
                    pattern[field] = std::min(pattern[field] * 10 + (c - '0'), 1000);
                }
                ++pos;
            }
        }
    }
    const int octets[4] = {nOctet1, nOctet2, nOctet3, nOctet4};
    for (int field = 0; field < 4; ++field) {
        if (pattern[field] != -1 && pattern[field] != octets[field]) {
            return 0;
        }
    }
    return 1;
}

int IsInList(const std::list<std::string>& rules, const char* pszAddress) {
    int octets[4] = {0, 0, 0, 0};
    const char* p = pszAddress;
    for (int i = 0; i < 3; ++i) {
        while (*p != '\0' && *p != '.') {
            octets[i] = octets[i] * 10 + (*p - '0');
            ++p;
        }
        if (*p == '.') {
            ++p;
        }
    }
    // The fourth octet runs to the end of the text, dots included.
    for (; *p != '\0'; ++p) {
        octets[3] = octets[3] * 10 + (*p - '0');
    }
    for (const std::string& rule : rules) {
        if (MatchRule(octets[0], octets[1], octets[2], octets[3], rule)) {
            return 1;
        }
    }
    return 0;
}

void WriteCountedString(std::ostream& out, const std::string& text) {
    const auto length = static_cast<std::uint32_t>(text.size());
    if (length < 255) {
        WriteLittleEndian(out, length, 1);
    } else if (length < 0xFFFE) {
        WriteLittleEndian(out, 0xFF, 1);
        WriteLittleEndian(out, length, 2);
    } else {
        WriteLittleEndian(out, 0xFF, 1);
        WriteLittleEndian(out, 0xFFFF, 2);
        WriteLittleEndian(out, length, 4);
    }
    out.write(text.data(), static_cast<std::streamsize>(text.size()));
}

bool ReadCountedString(std::istream& in, std::string& text) {
    std::uint32_t length = 0;
    if (!ReadLittleEndian(in, length, 1)) {
        return false;
    }
    if (length == 0xFF) {
        if (!ReadLittleEndian(in, length, 2)) {
            return false;
        }
        if (length == 0xFFFF && !ReadLittleEndian(in, length, 4)) {
            return false;
        }
    }
    // Read in pieces, so that a length the file cannot back allocates nothing large.
    text.clear();
    char chunk[4096];
    while (length > 0) {
        const auto piece = static_cast<std::streamsize>(std::min<std::uint32_t>(length, 4096));
        in.read(chunk, piece);
        text.append(chunk, static_cast<std::size_t>(in.gcount()));
        if (in.gcount() != piece) {
            return false;
        }
        length -= static_cast<std::uint32_t>(piece);
    }
    return true;
}

bool ReadRules(std::istream& in, std::list<std::string>& allow, std::list<std::string>& deny) {
    return ReadList(in, allow) && ReadList(in, deny);
}

void WriteRules(std::ostream& out, const std::list<std::string>& allow,
                const std::list<std::string>& deny) {
    WriteList(out, allow);
    WriteList(out, deny);
}

std::string RuleText(const unsigned fields[4]) {
    std::string text;
    for (int i = 0; i < 4; ++i) {
        text += fields[i] == 255 ? std::string("*") : std::to_string(fields[i]);
        if (i < 3) {
            text += '.';
        }
    }
    return text;
}
