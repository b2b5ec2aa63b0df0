#pragma once

#include <vector>

// A rectangle on the desktop: left and top inside, right and bottom one past the edge.
struct ScreenRect {
    int left = 0;
    int top = 0;
    int right = 0;
    int bottom = 0;
    int Width() const { return right - left; }
    int Height() const { return bottom - top; }
    bool operator==(const ScreenRect&) const = default;
};

// A stored window rectangle as it may be restored: one that shows too little of itself on every
// screen (a screen since removed, a smaller desktop) is fitted into the first screen.
ScreenRect PlaceOnScreens(ScreenRect window, const std::vector<ScreenRect>& screens);
