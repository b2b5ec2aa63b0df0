#pragma once

#include <string>

// A directory of its own under parent, removed with everything in it at the end of the test.
class TempDir {
  public:
    explicit TempDir(const std::string& parent = "/tmp");
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::string& Path() const { return m_path; }
    // Path with a trailing '/', as a directory setting holds it.
    std::string Dir() const { return m_path + "/"; }
    std::string operator/(const std::string& name) const { return m_path + "/" + name; }

  private:
    std::string m_path;
};

std::string ReadFile(const std::string& path);
void WriteFile(const std::string& path, const std::string& content);
bool FileExists(const std::string& path);
// The load client's pattern, from a point that the seed sets, so seeds give different bytes.
std::string PatternBytes(std::size_t size, unsigned seed = 1);
