#pragma once

// The version that runs, as the banner, --version and the version check show it.
inline constexpr char kRunningVersion[] = "Quaylon V3.80";
