#pragma once

#include <string>

// Drive types as the server tells them apart.
constexpr int kDriveUnknown = 0;
constexpr int kDriveRemovable = 2;
constexpr int kDriveFixed = 3;
constexpr int kDriveRemote = 4;
constexpr int kDriveCdRom = 5;

// The type of the mount that holds an existing directory.
int DriveTypeOf(const std::string& directory);

// What the mount table says of one mount, for DriveTypeOf and its tests.
int ClassifyMount(const std::string& fsType, const std::string& mountOptions,
                  bool bRemovableDevice);

// A field of /proc/self/mountinfo as it stands, its blanks and the like written there as \ooo.
std::string UnescapeMountField(const std::string& field);
