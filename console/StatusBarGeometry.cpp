#include "console/StatusBarGeometry.h"

int StatusPercent(const std::string& text) {
    int p = 0;
    for (std::size_t i = 1; i < text.size() && i <= 3 && text[i] >= '0' && text[i] <= '9'; ++i) {
        p = p * 10 + (text[i] - '0');
    }
    return p == 0 ? 1 : p;
}

StatusBarGeometry StatusBarFor(const std::string& text, bool bUseGraphic, int x, int w, int top,
                               int bottom) {
    StatusBarGeometry g;
    if (!bUseGraphic || text.empty() || text[0] != '%') {
        return g;
    }
    g.bDrawn = true;
    g.frame = {x, top, x + w - 2, bottom};
    const int p = StatusPercent(text);
    g.bar = {x + 2, top + 1, x + 2, bottom - 1};
    if (w - 6 > 0) {
        g.bar.right = static_cast<int>(static_cast<double>(w - 6) * 0.01 * p) + x - 1;
    }
    g.bHasBar = g.bar.right > g.bar.left;
    return g;
}
