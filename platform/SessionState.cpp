#include "platform/SessionState.h"

#include <sys/stat.h>

#include <cstdlib>
#include <fstream>

bool SessionClosing(const std::string& sessionsDir) {
    const char* id = std::getenv("XDG_SESSION_ID");
    struct stat info {};
    if (id == nullptr || *id == '\0' || stat(sessionsDir.c_str(), &info) != 0) {
        return false;
    }
    std::ifstream record(sessionsDir + "/" + id);
    if (!record) {
        return true;  // logind has already let the session go
    }
    std::string line;
    while (std::getline(record, line)) {
        if (line == "STATE=closing") {
            return true;
        }
    }
    return false;
}
