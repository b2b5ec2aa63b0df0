#include "policy/Paths.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>

#include "platform/DriveType.h"
#include "platform/Operator.h"

std::string NormaliseClientName(std::string name) {
    std::replace(name.begin(), name.end(), '\\', '/');
    return name;
}

LocalPath FormLocalPath(const std::string& base, const std::string& name, bool bKeepDirectories) {
    LocalPath result{base + name, false};
    std::string& path = result.path;
    if (!bKeepDirectories) {
        const auto last = path.rfind('/');
        if (last != std::string::npos && last > base.size()) {
            path = base + path.substr(last + 1);
            result.bChanged = true;
        }
    }
    for (auto pos = path.find(".."); pos != std::string::npos; pos = path.find("..")) {
        path.erase(pos, 2);
        result.bChanged = true;
    }
    for (auto pos = path.find("//"); pos != std::string::npos; pos = path.find("//")) {
        path.erase(pos, 1);
        result.bChanged = true;
    }
    // With no base the working directory is the base, and a rooted name stays inside it too.
    if (base.empty() && !path.empty() && path.front() == '/') {
        path.erase(0, 1);
        result.bChanged = true;
    }
    return result;
}

bool IsDirectoryName(const std::string& path) {
    const auto slash = path.rfind('/');
    const std::string last = slash == std::string::npos ? path : path.substr(slash + 1);
    struct stat info {};
    return last.empty() || last == "." || last == ".." ||
           (stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode));
}

std::string PrintableName(const std::string& name) {
    std::string text;
    for (const char c : name) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte == 0x7F) {
            char escaped[5];
            std::snprintf(escaped, sizeof escaped, "\\x%02x", byte);
            text += escaped;
        } else {
            text += c;
        }
    }
    return text;
}

std::string DuplicateCandidate(const std::string& path, int n) {
    const auto dot = path.rfind('.');
    if (dot == std::string::npos || dot == 0) {
        // Numbering in front of the whole path would name no usable file here.
        return path + "." + std::to_string(n);
    }
    return path.substr(0, dot + 1) + std::to_string(n) + "." + path.substr(dot + 1);
}

unsigned char CreatePaths(std::string strFullName) {
    // A leading '/' is the root, the counterpart of a drive's root, so it is no reason to stop.
    const auto first = strFullName.find('/');
    const auto last = strFullName.rfind('/');
    if (first == std::string::npos || first == last) {
        return 1;
    }
    for (auto pos = strFullName.find('/'); pos != std::string::npos && pos <= last;
         pos = strFullName.find('/', pos + 1)) {
        const std::string dir = strFullName.substr(0, pos + 1);
        if (mkdir(dir.c_str(), 0777) != 0 && errno == ENOENT) {
            return 0;
        }
    }
    return 1;
}

bool PathExists(const std::string& path) {
    struct stat info {};
    return lstat(path.c_str(), &info) == 0;
}

std::string ValidatePath(std::string strPath, unsigned char bInbound, Operator& op) {
    if (strPath.empty()) {
        return {};
    }
    std::replace(strPath.begin(), strPath.end(), '\\', '/');
    if (strPath.back() != '/') {
        strPath += '/';
    }
    struct stat info {};
    const std::string probe = strPath + ".";
    if (stat(probe.c_str(), &info) != 0 || !S_ISDIR(info.st_mode)) {
        op.ShowMessage("Error in path definition for " + strPath, BoxIcon::Exclamation);
        return {};
    }
    const int type = DriveTypeOf(strPath);
    if (type == kDriveCdRom && bInbound == 1) {
        op.ShowMessage("Inbound path specifies a CD-ROM Device", BoxIcon::Exclamation);
        return {};
    }
    if (type == kDriveCdRom || type == kDriveRemovable || type == kDriveRemote ||
        type == kDriveUnknown) {
        op.ShowMessage(
            "Warning : Specified drive is either removeable, a network drive, or an unknown "
            "type.\nUse at your own peril !",
            BoxIcon::Exclamation);
    }
    return strPath;
}
