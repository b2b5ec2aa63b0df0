#pragma once

#include <array>
#include <cstdint>

#include "settings/Settings.h"

// The window placement as the store gives it back: whether one was stored, and its values.
struct StoredPlacement {
    int bStored = 0;
    std::array<int, 4> rect{};
    std::uint32_t bMinimized = 0;
    std::array<int, 6> widths{};
    bool operator==(const StoredPlacement&) const = default;
};

inline StoredPlacement LoadPlacement(const CSettings& settings) {
    StoredPlacement p;
    int* w = p.widths.data();
    p.bStored = settings.LoadWindowPlacement(p.rect.data(), &p.bMinimized, &w[0], &w[1], &w[2],
                                             &w[3], &w[4], &w[5]);
    return p;
}
