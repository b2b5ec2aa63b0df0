#include "console/FolderBrowser.h"

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <fstream>
#include <set>
#include <sstream>

#include "platform/DriveType.h"

namespace {

// Disks, network shares and the root, whatever it stands on (a container's overlay too).
bool IsRealFileSystem(const std::string& fsType, const std::string& source,
                      const std::string& mountPoint) {
    static const std::set<std::string> kNetwork = {"nfs",   "nfs4",       "cifs", "smb3",
                                                   "smbfs", "fuse.sshfs", "9p"};
    return mountPoint == "/" || source.rfind("/dev/", 0) == 0 || kNetwork.count(fsType) != 0;
}

// The file system's label where udev has named one (/dev/disk/by-label), else the device.
std::string LabelOf(const std::string& source) {
    char device[PATH_MAX];
    if (realpath(source.c_str(), device) == nullptr) {
        return source;
    }
    std::string label = source;
    if (DIR* dir = opendir("/dev/disk/by-label")) {
        while (dirent* entry = readdir(dir)) {
            char target[PATH_MAX];
            const std::string link = std::string("/dev/disk/by-label/") + entry->d_name;
            if (entry->d_name[0] != '.' && realpath(link.c_str(), target) != nullptr &&
                std::string(target) == device) {
                // udev writes a blank in a label as \x20.
                std::string name = entry->d_name;
                for (std::size_t at; (at = name.find("\\x20")) != std::string::npos;) {
                    name.replace(at, 4, " ");
                }
                label = name;
            }
        }
        closedir(dir);
    }
    return label;
}

bool IsDirectory(const std::string& path) {
    struct stat info {};
    return stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

}  // namespace

std::vector<Volume> MountedVolumes() {
    std::vector<Volume> volumes;
    std::ifstream table("/proc/self/mountinfo");
    std::string line;
    std::set<std::string> seen;
    while (std::getline(table, line)) {
        std::istringstream fields(line);
        std::string id, parent, devno, root, mountPoint, options, token, fsType, source;
        fields >> id >> parent >> devno >> root >> mountPoint >> options;
        while (fields >> token && token != "-") {
        }
        fields >> fsType >> source;
        mountPoint = UnescapeMountField(mountPoint);
        source = UnescapeMountField(source);
        // A file bound onto a file (a container's /etc/hosts) is no volume to browse.
        if (!IsRealFileSystem(fsType, source, mountPoint) || !IsDirectory(mountPoint) ||
            !seen.insert(mountPoint).second) {
            continue;
        }
        if (mountPoint.back() != '/') {
            mountPoint += '/';
        }
        volumes.push_back({mountPoint, LabelOf(source)});
    }
    if (volumes.empty()) {
        volumes.push_back({"/", "root"});
    }
    std::sort(volumes.begin(), volumes.end(),
              [](const Volume& a, const Volume& b) { return a.Entry() < b.Entry(); });
    return volumes;
}

std::string CutToFolder(const std::string& path) {
    if (path.empty() || path.back() == '/') {
        return path;
    }
    const auto slash = path.rfind('/');
    return slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
}

std::string ParentFolder(const std::string& path) {
    std::string trimmed = path;
    if (!trimmed.empty() && trimmed.back() == '/') {
        trimmed.pop_back();
    }
    const auto slash = trimmed.rfind('/');
    return slash == std::string::npos ? path : trimmed.substr(0, slash + 1);
}

std::vector<std::string> FolderEntries(const std::string& path) {
    std::vector<std::string> entries;
    if (path != "/") {
        entries.emplace_back("[..]");
    }
    std::vector<std::string> folders;
    if (DIR* dir = opendir(path.c_str())) {
        while (dirent* entry = readdir(dir)) {
            const std::string name = entry->d_name;
            if (name == "." || name.rfind("..", 0) == 0) {
                continue;
            }
            struct stat info {};
            if (stat((path + name).c_str(), &info) == 0 && S_ISDIR(info.st_mode)) {
                folders.push_back(name);
            }
        }
        closedir(dir);
    }
    std::sort(folders.begin(), folders.end());
    entries.insert(entries.end(), folders.begin(), folders.end());
    return entries;
}

int VolumeOf(const std::vector<Volume>& volumes, const std::string& path) {
    int best = -1;
    std::size_t bestLength = 0;
    for (std::size_t i = 0; i < volumes.size(); ++i) {
        const std::string& root = volumes[i].root;
        if (path.compare(0, root.size(), root) == 0 && root.size() >= bestLength) {
            best = static_cast<int>(i);
            bestLength = root.size();
        }
    }
    return best;
}
