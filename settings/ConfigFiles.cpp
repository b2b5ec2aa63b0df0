#include "settings/ConfigFiles.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

namespace {

bool WriteAll(int fd, const std::string& content) {
    std::size_t done = 0;
    while (done < content.size()) {
        const ssize_t n = write(fd, content.data() + done, content.size() - done);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            return false;
        }
        done += static_cast<std::size_t>(n);
    }
    return true;
}

// The rename itself must reach the disk too, or a crash can bring the old file back.
void SyncDirectory(const std::string& dir) {
    const int fd = open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd >= 0) {
        fsync(fd);
        close(fd);
    }
}

bool MoveAside(const std::string& path, const std::string& suffix) {
    // An older set-aside file is the operator's too, so it is never overwritten.
    for (int n = 0; n < 1000; ++n) {
        const std::string aside = path + suffix + (n == 0 ? "" : "." + std::to_string(n));
        struct stat info {};
        if (lstat(aside.c_str(), &info) != 0 && errno == ENOENT) {
            return rename(path.c_str(), aside.c_str()) == 0;
        }
    }
    return false;
}

}  // namespace

std::string ConfigHome() {
    const char* xdg = std::getenv("XDG_CONFIG_HOME");
    if (xdg != nullptr && xdg[0] == '/') {
        return xdg;
    }
    const char* home = std::getenv("HOME");
    if (home != nullptr && home[0] != '\0') {
        return std::string(home) + "/.config";
    }
    const passwd* pw = getpwuid(getuid());
    if (pw != nullptr && pw->pw_dir != nullptr && pw->pw_dir[0] != '\0') {
        return std::string(pw->pw_dir) + "/.config";
    }
    return "";
}

bool MakeDirectories(const std::string& dir) {
    if (dir.empty()) {
        return false;
    }
    for (std::size_t slash = dir.find('/', 1);; slash = dir.find('/', slash + 1)) {
        const std::string part = dir.substr(0, slash);
        if (mkdir(part.c_str(), 0700) != 0 && errno != EEXIST) {
            return false;
        }
        if (slash == std::string::npos) {
            break;
        }
    }
    struct stat info {};
    return stat(dir.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

bool ReplaceFile(const std::string& path, const std::string& content, mode_t mode,
                 const std::string& asideSuffix) {
    const std::string dir = std::filesystem::path(path).parent_path().string();
    if (!MakeDirectories(dir)) {
        return false;
    }
    struct stat info {};
    const bool bExists = lstat(path.c_str(), &info) == 0;

    std::string temp = path + ".XXXXXX";
    const int fd = mkostemp(temp.data(), O_CLOEXEC);
    if (fd < 0) {
        return false;
    }
    const bool bWritten = fchmod(fd, mode) == 0 && WriteAll(fd, content) && fsync(fd) == 0;
    const bool bClosed = close(fd) == 0;
    const bool bAside =
        bWritten && bClosed && (!bExists || asideSuffix.empty() || MoveAside(path, asideSuffix));
    if (!bAside || rename(temp.c_str(), path.c_str()) != 0) {
        unlink(temp.c_str());
        return false;
    }
    SyncDirectory(dir);
    return true;
}
