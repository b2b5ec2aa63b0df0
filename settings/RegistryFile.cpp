#include "settings/RegistryFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <set>
#include <string_view>

#include "settings/ConfigFiles.h"

namespace {

constexpr std::string_view kHeader = "Windows Registry Editor Version 5.00";
constexpr std::string_view kOldHeader = "REGEDIT4";

// Files already reported as unreadable in this process, so each is reported once.
std::set<std::string>& Reported() {
    static std::set<std::string> reported;
    return reported;
}

bool IsBlank(char c) {
    return c == ' ' || c == '\t';
}

std::string_view Trim(std::string_view text) {
    while (!text.empty() && IsBlank(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && IsBlank(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

bool EqualNoCase(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) {
        return std::tolower(static_cast<unsigned char>(x)) ==
               std::tolower(static_cast<unsigned char>(y));
    });
}

bool StartsNoCase(std::string_view text, std::string_view prefix) {
    return text.size() >= prefix.size() && EqualNoCase(text.substr(0, prefix.size()), prefix);
}

bool AllHex(std::string_view text) {
    return std::all_of(text.begin(), text.end(),
                       [](char c) { return std::isxdigit(static_cast<unsigned char>(c)); });
}

std::string Quote(std::string_view text) {
    std::string quoted = "\"";
    for (char c : text) {
        if (c == '\\' || c == '"') {
            quoted += '\\';
        }
        quoted += c;
    }
    return quoted + '"';
}

// Reads the quoted string that starts at pos, leaving pos behind its closing quote.
bool ReadQuoted(std::string_view line, std::size_t& pos, std::string& out) {
    if (pos >= line.size() || line[pos] != '"') {
        return false;
    }
    for (++pos; pos < line.size();) {
        const char c = line[pos++];
        if (c == '"') {
            return true;
        }
        if (c == '\\') {
            if (pos >= line.size() || (line[pos] != '\\' && line[pos] != '"')) {
                return false;
            }
            out += line[pos++];
        } else {
            out += c;
        }
    }
    return false;
}

// "hex:", "hex(7):" and so on, followed by comma-separated bytes, continuations already joined.
bool ValidHex(std::string_view data) {
    data.remove_prefix(3);
    if (!data.empty() && data.front() == '(') {
        const std::size_t close = data.find(')');
        if (close == std::string_view::npos || close == 1 || !AllHex(data.substr(1, close - 1))) {
            return false;
        }
        data.remove_prefix(close + 1);
    }
    if (data.empty() || data.front() != ':') {
        return false;
    }
    data = Trim(data.substr(1));
    while (!data.empty()) {
        const std::size_t comma = data.find(',');
        const std::string_view byte = Trim(data.substr(0, comma));
        if (byte.empty() || byte.size() > 2 || !AllHex(byte)) {
            return false;
        }
        data = comma == std::string_view::npos ? std::string_view() : data.substr(comma + 1);
        if (comma != std::string_view::npos && Trim(data).empty()) {
            return false;
        }
    }
    return true;
}

// 0 with the whole file in content, or the errno that stopped the reading.
int ReadWhole(const std::string& path, std::string& content) {
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        return errno;
    }
    char buffer[8192];
    for (;;) {
        const ssize_t n = read(fd, buffer, sizeof buffer);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            const int err = n < 0 ? errno : 0;
            close(fd);
            return err;
        }
        content.append(buffer, static_cast<std::size_t>(n));
    }
}

}  // namespace

RegistryFile::RegistryFile(std::string path, std::string hive)
    : m_path(std::move(path)), m_hive(std::move(hive)) {
    std::string content;
    const int err = ReadWhole(m_path, content);
    const std::string problem =
        err == 0 || err == ENOENT ? Parse(content) : std::string(std::strerror(err));
    if (problem.empty()) {
        return;
    }
    m_bUnreadable = true;
    m_preamble.clear();
    m_sections.clear();
    Parse("");
    if (Reported().insert(m_path).second) {
        std::fprintf(stderr,
                     "quaylon: settings file %s: %s; running on the start values, and the file "
                     "will be set aside as %s.bad when the settings are next saved\n",
                     m_path.c_str(), problem.c_str(), m_path.c_str());
    }
}

std::string RegistryFile::Parse(const std::string& content) {
    std::vector<std::string_view> physical;
    for (std::size_t start = 0; start < content.size();) {
        std::size_t end = content.find('\n', start);
        if (end == std::string::npos) {
            end = content.size();
        }
        std::string_view line(content.data() + start, end - start);
        if (!line.empty() && line.back() == '\r') {
            line.remove_suffix(1);
        }
        physical.push_back(line);
        start = end + 1;
    }
    if (!physical.empty() && physical[0].starts_with("\xEF\xBB\xBF")) {
        physical[0].remove_prefix(3);
    }

    bool bHeader = false;
    for (std::size_t i = 0; i < physical.size(); ++i) {
        const std::string_view line = physical[i];
        const std::string_view body = Trim(line);
        const std::string where = "line " + std::to_string(i + 1) + ": ";
        std::vector<Line>& lines = m_sections.empty() ? m_preamble : m_sections.back().lines;
        if (body.empty() || body.front() == ';') {
            lines.push_back({.raw = std::string(line)});
            continue;
        }
        if (!bHeader) {
            if (body != kHeader && body != kOldHeader) {
                return where + "the file does not begin with \"" + std::string(kHeader) + "\"";
            }
            bHeader = true;
            lines.push_back({.raw = std::string(line)});
            continue;
        }
        if (body.front() == '[') {
            if (body.size() < 3 || body.back() != ']') {
                return where + "a key name is not closed by ']'";
            }
            m_sections.push_back(
                {.raw = std::string(line), .key = std::string(body.substr(1, body.size() - 2))});
            continue;
        }
        if (m_sections.empty()) {
            return where + "a value stands before the first key";
        }

        Line value{.raw = std::string(line)};
        std::size_t pos = 0;
        if (body.front() == '@') {
            pos = 1;
        } else if (!ReadQuoted(body, pos, value.name)) {
            return where + "a value name is not a quoted name";
        }
        while (pos < body.size() && IsBlank(body[pos])) {
            ++pos;
        }
        if (pos >= body.size() || body[pos] != '=') {
            return where + "'=' is missing after the value name";
        }
        const std::string_view data = Trim(body.substr(pos + 1));
        if (data.starts_with('"')) {
            std::size_t end = 0;
            if (!ReadQuoted(data, end, value.text) || end != data.size()) {
                return where + "a text value is not one quoted text";
            }
            value.kind = Kind::Text;
        } else if (StartsNoCase(data, "dword:")) {
            const std::string_view digits = data.substr(6);
            if (digits.empty() || digits.size() > 8 || !AllHex(digits)) {
                return where + "a dword value needs one to eight hexadecimal digits";
            }
            value.dword = static_cast<std::uint32_t>(std::stoul(std::string(digits), nullptr, 16));
            value.kind = Kind::Dword;
        } else if (StartsNoCase(data, "hex")) {
            // Long binary values go on over lines that end in a backslash.
            std::string joined(data);
            while (!joined.empty() && joined.back() == '\\') {
                if (++i >= physical.size()) {
                    return where + "the file ends inside a hex value";
                }
                joined.pop_back();
                joined += Trim(physical[i]);
                value.raw += "\n" + std::string(physical[i]);
            }
            if (!ValidHex(joined)) {
                return where + "a hex value is not a list of bytes";
            }
            value.kind = Kind::Other;
        } else if (data == "-") {
            value.kind = Kind::Other;
        } else {
            return where + "the data of a value is not text, dword or hex";
        }
        lines.push_back(std::move(value));
    }
    if (!bHeader) {
        m_preamble.insert(m_preamble.begin(), {Line{.raw = std::string(kHeader)}, Line{}});
    }
    return "";
}

bool RegistryFile::KeyExists(const std::string& key) const {
    const std::string full = FullKey(key);
    return std::any_of(m_sections.begin(), m_sections.end(), [&](const Section& section) {
        return EqualNoCase(section.key, full) ||
               (StartsNoCase(section.key, full + "\\") && section.key.size() > full.size() + 1);
    });
}

const RegistryFile::Line* RegistryFile::Find(const std::string& key,
                                             const std::string& name) const {
    const std::string full = FullKey(key);
    const Line* found = nullptr;
    for (const Section& section : m_sections) {
        if (!EqualNoCase(section.key, full)) {
            continue;
        }
        for (const Line& line : section.lines) {
            // A value named twice counts with its last entry, as an import of the file would.
            if (line.kind != Kind::None && EqualNoCase(line.name, name)) {
                found = &line;
            }
        }
    }
    return found;
}

std::optional<std::string> RegistryFile::ReadText(const std::string& key,
                                                  const std::string& name) const {
    const Line* line = Find(key, name);
    if (line == nullptr || line->kind != Kind::Text) {
        return std::nullopt;
    }
    return line->text;
}

std::optional<std::uint32_t> RegistryFile::ReadDword(const std::string& key,
                                                     const std::string& name) const {
    const Line* line = Find(key, name);
    if (line == nullptr || line->kind != Kind::Dword) {
        return std::nullopt;
    }
    return line->dword;
}

bool RegistryFile::WriteText(const std::string& key, const std::string& name,
                             const std::string& value) {
    if (value.find_first_of("\r\n") != std::string::npos) {
        return false;
    }
    Write(key, name, Quote(value), Kind::Text, value, 0);
    return true;
}

void RegistryFile::WriteDword(const std::string& key, const std::string& name,
                              std::uint32_t value) {
    char data[16];
    std::snprintf(data, sizeof data, "dword:%08x", value);
    Write(key, name, data, Kind::Dword, "", value);
}

void RegistryFile::Write(const std::string& key, const std::string& name, const std::string& data,
                         Kind kind, const std::string& text, std::uint32_t dword) {
    const std::string full = FullKey(key);
    Line* keep = const_cast<Line*>(Find(key, name));
    if (keep != nullptr) {
        const std::string spelled = keep->name;
        *keep = Line{Quote(spelled) + "=" + data, kind, spelled, text, dword};
        for (Section& section : m_sections) {
            if (EqualNoCase(section.key, full)) {
                std::erase_if(section.lines, [&](const Line& line) {
                    return &line != keep && line.kind != Kind::None && EqualNoCase(line.name, name);
                });
            }
        }
        return;
    }

    auto last = std::find_if(m_sections.rbegin(), m_sections.rend(), [&](const Section& section) {
        return EqualNoCase(section.key, full);
    });
    std::vector<Line>* lines = nullptr;
    if (last != m_sections.rend()) {
        lines = &last->lines;
    } else {
        std::vector<Line>& before = m_sections.empty() ? m_preamble : m_sections.back().lines;
        if (before.empty() || !Trim(before.back().raw).empty()) {
            before.push_back({});
        }
        m_sections.push_back({.raw = "[" + full + "]", .key = full, .lines = {Line{}}});
        lines = &m_sections.back().lines;
    }
    // New values join the key's other values, ahead of the blank line that parts the keys.
    auto at = lines->end();
    while (at != lines->begin() && std::prev(at)->kind == Kind::None &&
           Trim(std::prev(at)->raw).empty()) {
        --at;
    }
    lines->insert(at, Line{Quote(name) + "=" + data, kind, name, text, dword});
}

bool RegistryFile::Commit() {
    std::string content;
    for (const Line& line : m_preamble) {
        content += line.raw + "\n";
    }
    for (const Section& section : m_sections) {
        content += section.raw + "\n";
        for (const Line& line : section.lines) {
            content += line.raw + "\n";
        }
    }
    if (!ReplaceFile(m_path, content, 0600, m_bUnreadable ? ".bad" : "")) {
        return false;
    }
    if (m_bUnreadable) {
        Reported().erase(m_path);
        m_bUnreadable = false;
    }
    return true;
}
