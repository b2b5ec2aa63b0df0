#include <gtest/gtest.h>

#include <cstdlib>

#include "platform/SessionState.h"
#include "support/TempDir.h"

TEST(SessionState, ClosingOnlyWhenLogindSaysSoOrHasLetTheSessionGo) {
    TempDir sessions;
    WriteFile(sessions / "c7", "# This is private data. Do not parse.\nUID=1000\nSTATE=active\n");
    setenv("XDG_SESSION_ID", "c7", 1);
    EXPECT_FALSE(SessionClosing(sessions.Path()));
    WriteFile(sessions / "c7", "UID=1000\nSTATE=closing\nACTIVE=0\n");
    EXPECT_TRUE(SessionClosing(sessions.Path()));
    setenv("XDG_SESSION_ID", "c8", 1);
    EXPECT_TRUE(SessionClosing(sessions.Path())) << "the session's record is gone";
    EXPECT_FALSE(SessionClosing(sessions / "none")) << "no logind: nothing to go by";
    unsetenv("XDG_SESSION_ID");
    EXPECT_FALSE(SessionClosing(sessions.Path()));
}
