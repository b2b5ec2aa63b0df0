#pragma once

#include <string>

#include "console/Rect.h"

// Where the Status column's progress bar goes in a cell: a red frame around the cell and a blue
// bar inside it, as long as the percentage says.
struct StatusBarGeometry {
    bool bDrawn = false;  // the text is a progress figure and the graphic is on
    Rect frame;
    bool bHasBar = false;  // false when the bar would be empty
    Rect bar;
};

// The percentage of a Status text that begins with '%': up to three digits, 0 counting as 1.
int StatusPercent(const std::string& text);

// For the cell at x of width w on the row from top to bottom.
StatusBarGeometry StatusBarFor(const std::string& text, bool bUseGraphic, int x, int w, int top,
                               int bottom);
