#include <gtest/gtest.h>

#include "console/WindowPlacement.h"

TEST(WindowPlacement, AWindowOffEveryScreenComesBackOntoTheFirst) {
    const std::vector<ScreenRect> screens = {{0, 0, 1920, 1080}, {1920, 0, 3200, 1024}};
    // Where the window can be taken hold of it stays, on either screen and across both.
    for (const ScreenRect& shown :
         {ScreenRect{100, 50, 900, 550}, ScreenRect{2000, 10, 2600, 400},
          ScreenRect{1700, 0, 2300, 500}, ScreenRect{-700, 100, 100, 500}}) {
        EXPECT_EQ(PlaceOnScreens(shown, screens), shown);
    }
    // A screen since removed, a caption above the desktop, a window larger than the screen.
    EXPECT_EQ(PlaceOnScreens({4000, 200, 4800, 700}, screens), (ScreenRect{1120, 200, 1920, 700}));
    EXPECT_EQ(PlaceOnScreens({300, -400, 1100, 100}, screens), (ScreenRect{300, 0, 1100, 500}));
    EXPECT_EQ(PlaceOnScreens({-5000, -5000, 0, 0}, screens), (ScreenRect{0, 0, 1920, 1080}));
}
