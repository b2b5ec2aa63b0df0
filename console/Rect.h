#pragma once

// A rectangle in pixels: left and top inside, right and bottom one past the edge.
struct Rect {
    int left = 0;
    int top = 0;
    int right = 0;
    int bottom = 0;
    int Width() const { return right - left; }
    int Height() const { return bottom - top; }
    bool operator==(const Rect&) const = default;
};
