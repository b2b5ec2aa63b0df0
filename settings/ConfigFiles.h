#pragma once

#include <sys/types.h>

#include <string>

// The base of per-user configuration: $XDG_CONFIG_HOME when it is an absolute path, else
// ~/.config. Empty when the user has no home.
std::string ConfigHome();

// Creates dir and its missing parents with mode 0700, as the XDG rules ask.
bool MakeDirectories(const std::string& dir);

// Puts content at path in one piece: a temporary file beside it, flushed to the disk, renamed
// over the old one, so a crash leaves the old file or the new one. The directory is created if
// missing. With asideSuffix, the file that was there is renamed to the first free
// path+asideSuffix (then +".1", ".2", ...) instead of being replaced; nothing changes if that
// fails.
bool ReplaceFile(const std::string& path, const std::string& content, mode_t mode,
                 const std::string& asideSuffix = "");
