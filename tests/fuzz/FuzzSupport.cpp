#include "fuzz/FuzzSupport.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>

namespace {

// Taken before libFuzzer closes the standard error, which the product's own reports would flood.
const int g_reportFd = dup(STDERR_FILENO);

}  // namespace

void FuzzFail(const char* property) {
    const std::string line = std::string("quaylon fuzz: broken: ") + property + "\n";
    [[maybe_unused]] const ssize_t written = write(g_reportFd, line.data(), line.size());
    std::abort();
}

std::string ScratchParent() {
    return std::filesystem::is_directory("/dev/shm") ? "/dev/shm" : "/tmp";
}

void ClearDirectory(const std::string& dir, const std::string& keep) {
    for (const auto& entry : std::filesystem::directory_iterator(dir)) {
        if (entry.path().filename() != keep) {
            std::filesystem::remove_all(entry.path());
        }
    }
}
