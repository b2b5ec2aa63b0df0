#pragma once

#include <initializer_list>

// Blocks the signals and gives a descriptor that reads them, so that they are handled on the
// main loop like everything else. SIGPIPE is ignored. -1 on failure.
int OpenSignalDescriptor(std::initializer_list<int> wanted);
