#pragma once

#include <vector>

#include "console/Rect.h"

// A stored window rectangle as it may be restored: one that shows too little of itself on every
// screen (a screen since removed, a smaller desktop) is fitted into the first screen.
Rect PlaceOnScreens(Rect window, const std::vector<Rect>& screens);
