#include "support/TempDir.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "bench/TftpWire.h"

TempDir::TempDir(const std::string& parent) {
    std::string templ = parent + "/quaylon-test-XXXXXX";
    if (mkdtemp(templ.data()) == nullptr) {
        throw std::runtime_error("mkdtemp failed");
    }
    m_path = templ;
}

TempDir::~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void WriteFile(const std::string& path, const std::string& content) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(content.data(), static_cast<std::streamsize>(content.size()));
}

bool FileExists(const std::string& path) {
    struct stat info {};
    return lstat(path.c_str(), &info) == 0;
}

std::string PatternBytes(std::size_t size, unsigned seed) {
    return bench::PatternBytes(size + seed).substr(seed);
}
