#include "platform/DriveType.h"

#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <climits>
#include <cstdlib>
#include <fstream>
#include <set>
#include <sstream>
#include <vector>

namespace {

bool HasOption(const std::string& options, const std::string& wanted) {
    std::stringstream list(options);
    std::string item;
    while (std::getline(list, item, ',')) {
        if (item == wanted) {
            return true;
        }
    }
    return false;
}

bool IsRemovableDevice(unsigned major, unsigned minor) {
    const std::string dev = "/sys/dev/block/" + std::to_string(major) + ":" + std::to_string(minor);
    for (const char* rel : {"/removable", "/../removable"}) {
        std::ifstream flag(dev + rel);
        int value = 0;
        if (flag >> value) {
            return value == 1;
        }
    }
    return false;
}

}  // namespace

int ClassifyMount(const std::string& fsType, const std::string& mountOptions,
                  bool bRemovableDevice) {
    static const std::set<std::string> kRemote = {
        "nfs",        "nfs4",        "cifs", "smb3",   "smbfs",          "sshfs",
        "fuse.sshfs", "9p",          "afs",  "ceph",   "glusterfs",      "ncpfs",
        "davfs",      "fuse.davfs2", "coda", "lustre", "fuse.glusterfs", "fuse.rclone"};
    if (fsType == "iso9660" || fsType == "udf") {
        return kDriveCdRom;
    }
    if (HasOption(mountOptions, "ro")) {
        return kDriveCdRom;
    }
    if (kRemote.count(fsType) != 0) {
        return kDriveRemote;
    }
    if (bRemovableDevice) {
        return kDriveRemovable;
    }
    return kDriveFixed;
}

int DriveTypeOf(const std::string& directory) {
    char resolved[PATH_MAX];
    if (realpath(directory.c_str(), resolved) == nullptr) {
        return kDriveUnknown;
    }
    const std::string path = resolved;
    std::ifstream table("/proc/self/mountinfo");
    std::string line;
    std::string bestMount;
    int bestType = kDriveUnknown;
    bool found = false;
    while (std::getline(table, line)) {
        // id parent major:minor root mountpoint options [optional...] - fstype source superopts
        std::istringstream fields(line);
        std::string id, parent, devno, root, mountPoint, options;
        fields >> id >> parent >> devno >> root >> mountPoint >> options;
        std::string token;
        while (fields >> token && token != "-") {
        }
        std::string fsType;
        fields >> fsType;
        mountPoint = UnescapeMountField(mountPoint);
        const bool covers =
            path == mountPoint || (path.compare(0, mountPoint.size(), mountPoint) == 0 &&
                                   (mountPoint == "/" || path[mountPoint.size()] == '/'));
        if (!covers || (found && mountPoint.size() < bestMount.size())) {
            continue;
        }
        unsigned major = 0, minor = 0;
        char colon = 0;
        std::istringstream(devno) >> major >> colon >> minor;
        found = true;
        bestMount = mountPoint;
        bestType = ClassifyMount(fsType, options, major != 0 && IsRemovableDevice(major, minor));
    }
    return bestType;
}

std::string UnescapeMountField(const std::string& field) {
    std::string out;
    for (std::size_t i = 0; i < field.size(); ++i) {
        if (field[i] == '\\' && i + 3 < field.size()) {
            out += static_cast<char>(std::strtol(field.substr(i + 1, 3).c_str(), nullptr, 8));
            i += 3;
        } else {
            out += field[i];
        }
    }
    return out;
}
