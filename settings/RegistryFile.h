#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// One hive of the registry, kept as a text file in the .reg export syntax:
//
//   Windows Registry Editor Version 5.00
//
//   [HKEY_CURRENT_USER\Software\Orrelin\Quaylon]
//   "Port"="69"
//   "bDelete"=dword:00002000
//
// Opening reads the whole file; writes change the named values in memory, and Commit puts the
// file back in one piece with every other line as it was. Key and value names compare without
// regard to case, as the registry's do.
class RegistryFile {
  public:
    // hive names the root that every key of the file starts with, "HKEY_CURRENT_USER". A missing
    // file holds no key. A file that cannot be read or parsed is reported once on standard error
    // and holds no key either; Commit then sets it aside with the suffix ".bad".
    RegistryFile(std::string path, std::string hive);

    // Keys are given below the hive: "Software\\Orrelin\\Quaylon". A key exists when the file
    // has its section or a section of a key below it.
    bool KeyExists(const std::string& key) const;
    // A value of another type reads as missing.
    std::optional<std::string> ReadText(const std::string& key, const std::string& name) const;
    std::optional<std::uint32_t> ReadDword(const std::string& key, const std::string& name) const;

    // Creates the key if needed; a value that exists under another case of its name keeps that
    // spelling and stays one entry. Text with a line break has no form in the syntax and is
    // refused, leaving the stored value.
    bool WriteText(const std::string& key, const std::string& name, const std::string& value);
    void WriteDword(const std::string& key, const std::string& name, std::uint32_t value);

    // False when the file could not be put in place; the old one is then untouched.
    bool Commit();

  private:
    enum class Kind { None, Text, Dword, Other };
    // One logical line: a value with its continuation lines, a comment, a blank or the header.
    struct Line {
        std::string raw{};
        Kind kind = Kind::None;  // None: not a value
        std::string name{};
        std::string text{};
        std::uint32_t dword = 0;
    };
    struct Section {
        std::string raw{};
        std::string key{};  // between the brackets, the hive included
        std::vector<Line> lines{};
    };

    // The reason, with its line number, or empty when the text is a valid file.
    std::string Parse(const std::string& content);
    const Line* Find(const std::string& key, const std::string& name) const;
    void Write(const std::string& key, const std::string& name, const std::string& data, Kind kind,
               const std::string& text, std::uint32_t dword);
    std::string FullKey(const std::string& key) const { return m_hive + "\\" + key; }

    std::string m_path;
    std::string m_hive;
    bool m_bUnreadable = false;
    std::vector<Line> m_preamble;
    std::vector<Section> m_sections;
};
