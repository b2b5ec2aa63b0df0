#pragma once

#include <string>

// Ends the run with the broken property on the standard error the process started with, which
// libFuzzer's -close_fd_mask=2 leaves open; libFuzzer keeps the input as a crash.
[[noreturn]] void FuzzFail(const char* property);

inline void Require(bool bHolds, const char* property) {
    if (!bHolds) {
        FuzzFail(property);
    }
}

// In memory when /dev/shm is there, so that the store's fsync costs nothing.
std::string ScratchParent();

// Removes every entry of dir except the one named keep.
void ClearDirectory(const std::string& dir, const std::string& keep = "");
