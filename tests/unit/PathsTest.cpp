#include <gtest/gtest.h>

#include <algorithm>

#include "policy/Paths.h"
#include "support/TempDir.h"
#include "support/TestDoubles.h"

TEST(ValidatePath, NormalisesAnExistingDirectoryAndRefusesAnythingElse) {
    TempDir dir;
    TestOperator op;
    std::string backslashed = dir.Path();
    std::replace(backslashed.begin(), backslashed.end(), '/', '\\');
    EXPECT_EQ(ValidatePath(backslashed, 1, op), dir.Dir());
    EXPECT_EQ(ValidatePath(dir.Dir(), 0, op), dir.Dir());

    WriteFile(dir / "file", "not a directory");
    for (const std::string& typed : {dir / "file", dir / "missing/"}) {
        EXPECT_EQ(ValidatePath(typed, 0, op), "");
        ASSERT_FALSE(op.messages.empty());
        const std::string shown = typed.back() == '/' ? typed : typed + "/";
        EXPECT_EQ(op.messages.back(), "Error in path definition for " + shown);
    }
    const std::size_t boxes = op.messages.size();
    EXPECT_EQ(ValidatePath("", 1, op), "");
    EXPECT_EQ(op.messages.size(), boxes) << "an empty text is refused without a word";
}
