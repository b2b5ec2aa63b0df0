#pragma once

#include <string>
#include <vector>

// What the folder browser shows, without a window: volumes, folders and moves between them.
struct Volume {
    std::string root;   // mount point, ending in '/'
    std::string label;  // label or device
    std::string Entry() const { return root + " " + label; }
};

// Mounted real file systems, sorted by their entry text.
std::vector<Volume> MountedVolumes();

// A path that does not end in '/' is cut back to the folder that holds its last component.
std::string CutToFolder(const std::string& path);
// One level up: the folder's parent, keeping its '/'.
std::string ParentFolder(const std::string& path);
// "[..]" unless the path is a root, then the subfolders of path, sorted, no "." or "..*".
std::vector<std::string> FolderEntries(const std::string& path);
// The volume whose root holds the path: the longest matching root, or -1.
int VolumeOf(const std::vector<Volume>& volumes, const std::string& path);
