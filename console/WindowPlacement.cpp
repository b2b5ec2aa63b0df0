#include "console/WindowPlacement.h"

#include <algorithm>

namespace {

// Enough of the window to take hold of it with the mouse.
constexpr int kMinVisible = 48;

bool ShowsOn(const Rect& window, const Rect& screen) {
    const int width = std::min(window.right, screen.right) - std::max(window.left, screen.left);
    const int height = std::min(window.bottom, screen.bottom) - std::max(window.top, screen.top);
    // The top edge must be on the screen too, or the caption is out of reach.
    return width >= std::min(kMinVisible, window.Width()) &&
           height >= std::min(kMinVisible, window.Height()) && window.top >= screen.top &&
           window.top < screen.bottom;
}

}  // namespace

Rect PlaceOnScreens(Rect window, const std::vector<Rect>& screens) {
    if (screens.empty() || std::any_of(screens.begin(), screens.end(),
                                       [&](const Rect& s) { return ShowsOn(window, s); })) {
        return window;
    }
    const Rect& screen = screens.front();
    const int width = std::min(window.Width(), screen.Width());
    const int height = std::min(window.Height(), screen.Height());
    const int left = std::clamp(window.left, screen.left, screen.right - width);
    const int top = std::clamp(window.top, screen.top, screen.bottom - height);
    return {left, top, left + width, top + height};
}
