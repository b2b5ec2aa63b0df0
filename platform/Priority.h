#pragma once

#include <sys/types.h>

// Thread priorities as the server speaks of them, mapped onto nice values.
enum class ThreadPriority { BelowNormal = -1, Normal = 0, AboveNormal = 1 };

// The kernel id of the calling thread, for setting its priority from elsewhere.
pid_t CurrentThreadId();
// Failures are ignored, as a priority is only a wish.
void SetThreadPriority(pid_t tid, ThreadPriority priority);
void SetProcessHighPriority(bool bHigh);
