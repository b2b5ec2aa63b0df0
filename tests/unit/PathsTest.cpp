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

    WriteFile(dir / "file", "not a directory");
    EXPECT_EQ(ValidatePath(dir / "file", 0, op), "");
    EXPECT_EQ(op.messages,
              std::vector<std::string>{"Error in path definition for " + dir.Dir() + "file/"});
    EXPECT_EQ(ValidatePath("", 1, op), "");
    EXPECT_EQ(op.messages.size(), 1u) << "an empty text is refused without a word";
}
