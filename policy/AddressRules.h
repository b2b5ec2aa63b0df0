#pragma once

#include <cstdint>
#include <istream>
#include <list>
#include <ostream>
#include <string>

// 1 if the rule (four dot-separated fields, each a number or '*') matches the four octets.
int MatchRule(int nOctet1, int nOctet2, int nOctet3, int nOctet4, const std::string& strRule);

// The rule for the four fields of an address entry: 255 in a field is the wildcard '*'.
std::string RuleText(const unsigned fields[4]);

// 1 if a rule of the list matches the dotted address.
int IsInList(const std::list<std::string>& rules, const char* pszAddress);

// Counted strings of the rule file: the length in one byte below 255, else 0xFF and two bytes,
// else 0xFF 0xFFFF and four bytes, all little-endian; then the characters.
void WriteCountedString(std::ostream& out, const std::string& text);
// False when the stream ends before the string does.
bool ReadCountedString(std::istream& in, std::string& text);

// The rule file: the allow list, then the deny list, each a four-byte little-endian count and
// that many counted strings. False when the stream ends early; what was read stays in the lists.
bool ReadRules(std::istream& in, std::list<std::string>& allow, std::list<std::string>& deny);
void WriteRules(std::ostream& out, const std::list<std::string>& allow,
                const std::list<std::string>& deny);
