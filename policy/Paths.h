#pragma once

#include <string>

class Operator;

// A client's file name with both separators turned into '/'.
std::string NormaliseClientName(std::string name);

struct LocalPath {
    std::string path;
    bool bChanged = false;
};

// The local path for a request: base directory (taken as it is) and name, cut to the part
// behind the last separator unless paths are kept, with every ".." and every doubled '/'
// taken out of the whole result.
LocalPath FormLocalPath(const std::string& base, const std::string& name, bool bKeepDirectories);

// True for a name that can only be a directory: empty, ending in '/', "." or "..", or naming
// an existing directory.
bool IsDirectoryName(const std::string& path);

// The name with every control byte shown as \xNN, so that a record stays on one line.
std::string PrintableName(const std::string& name);

// The n-th free name for a duplicate: "%s%d.%s" around the last '.', or ".n" behind a path
// that has no usable dot.
std::string DuplicateCandidate(const std::string& path, int n);

// Makes the missing directories of a file's full name. 0 only when a parent is missing.
unsigned char CreatePaths(std::string strFullName);

// Checks and normalises a directory typed by the operator; empty if refused.
std::string ValidatePath(std::string strPath, unsigned char bInbound, Operator& op);

bool PathExists(const std::string& path);
