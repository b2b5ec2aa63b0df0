#include <gtest/gtest.h>

#include "support/ServerHarness.h"

namespace {

using M = CClientListModel;

// A server that never listens: rows come from status messages sent by hand.
struct ListFixture : ::testing::Test {
    ListFixture() {
        h.model.SetTimeSource([] { return std::time_t{1700000000}; });
        h.app.SetView(&h.model);
    }

    void Finish(std::int32_t serial, const std::string& result, bool bTimedOut = false) {
        h.app.NotifyView(STATUS_DONE, serial);
        h.Notify(bTimedOut ? STATUS_TIMED_OUT : STATUS_RESULT, serial, result);
    }

    ServerHarness h;
    CServerApp& app = h.app;
    CClientListModel& model = h.model;
};

const std::string kTime = CClientListModel::FormatTime(1700000000);

}  // namespace

TEST_F(ListFixture, RowsFollowTheirClientUntilRetiredAndErrorsRetireAtOnce) {
    model.AddBannerRow();
    h.Notify(STATUS_NEW_CLIENT, 1, "127.0.0.9");
    h.Notify(STATUS_FILE, 1, "/srv/boot.bin");
    app.m_Status.nTotal = 2048;
    app.m_Status.nPosition = 1024;
    app.NotifyView(STATUS_PROGRESS, 1);
    const auto& rows = model.Rows();
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[1].columns[M::kStatus], "%50, 1024");
    h.Notify(STATUS_RETRY, 1, "Retrying");
    EXPECT_EQ(rows[1].columns[M::kStatus], "Retrying") << "with no figures the text stands";

    Finish(1, "TimedOut : Sending", true);
    EXPECT_EQ(rows[1].columns[M::kStatus], "Done");
    EXPECT_EQ(rows[1].columns[M::kFinish], kTime);
    EXPECT_EQ(rows[1].itemData, M::kFailed);
    h.Notify(STATUS_FILE, 1, "/elsewhere");
    EXPECT_EQ(rows[1].columns[M::kFile], "/srv/boot.bin") << "a retired row has no serial";

    EXPECT_EQ(rows[0].itemData, M::kFailed) << "the banner is red";

    h.Notify(STATUS_NEW_CLIENT, 7, "127.0.0.1");
    h.Notify(STATUS_ERROR, 7, "File not found");
    Finish(7, "File not found : Sending");
    EXPECT_EQ(rows[2].columns[M::kStatus], "") << "no Done after an error";
    EXPECT_EQ(rows[2].columns[M::kResult], "File not found");
    EXPECT_EQ(rows[2].itemData, M::kRetired);

    h.Notify(STATUS_NEW_CLIENT, 9, "127.0.0.2");
    h.Notify(STATUS_NEW_CLIENT, 9, "127.0.0.3");
    h.Notify(STATUS_FILE, 9, "/x");
    EXPECT_EQ(rows[3].columns[M::kFile], "");
    EXPECT_EQ(rows[4].columns[M::kFile], "/x") << "the newest row wins a shared serial";
}

TEST_F(ListFixture, LimitSendsTheOldestRowsToTheLogInArrivalOrder) {
    app.nMaxDisplayPos = 0;  // five rows, six before the next insertion
    model.AddBannerRow();
    for (int serial = 1; serial <= 5; ++serial) {
        h.Notify(STATUS_NEW_CLIENT, serial, "127.0.0." + std::to_string(serial));
    }
    Finish(2, "Finished : Receiving");
    EXPECT_FALSE(FileExists(app.LogFile)) << "nothing leaves before the limit is passed";
    h.Notify(STATUS_NEW_CLIENT, 6, "127.0.0.6");
    ASSERT_EQ(model.Rows().size(), 6u);
    const std::string banner = "Quaylon V3.80  " + kTime + "  Ready\r\n";
    EXPECT_EQ(ReadFile(app.LogFile), banner);

    // Clearing appends every row, running ones too, in the order the clients came.
    model.ClearRows();
    std::string log = banner;
    for (int serial = 1; serial <= 6; ++serial) {
        log += "127.0.0." + std::to_string(serial) + "  " + kTime +
               (serial == 2 ? " " + kTime + " Finished : Receiving\r\n" : "  \r\n");
    }
    EXPECT_EQ(ReadFile(app.LogFile), log);
    EXPECT_TRUE(model.Rows().empty());
    h.Notify(STATUS_FILE, 6, "/late");
    EXPECT_TRUE(model.Rows().empty()) << "a message for a row that left makes none";

    // Without a usable log clearing still empties the list.
    h.Notify(STATUS_NEW_CLIENT, 1, "127.0.0.1");
    app.LogFile.clear();
    model.ClearRows();
    EXPECT_TRUE(model.Rows().empty());

    h.Notify(STATUS_NEW_CLIENT, 2, "127.0.0.2");
    app.LogFile = h.config / "missing/dir/q.log";
    model.ClearRows();
    EXPECT_TRUE(model.Rows().empty());
    EXPECT_FALSE(FileExists(h.config / "missing"));
    EXPECT_EQ(ReadFile(h.config / "Quaylon.log"), log);
}

TEST_F(ListFixture, IdleSweepMarksForgottenRowsOnceAndTickRunsHousekeeping) {
    ASSERT_TRUE(h.Start());
    for (std::int32_t serial : {4000, 5000, 3000}) {
        h.Notify(STATUS_NEW_CLIENT, serial, "127.0.0.5");
    }
    h.app.NotifyView(STATUS_RESULT, 3000);
    h.Tick();  // no client on the table: the idle sweep
    const auto& rows = h.model.Rows();
    ASSERT_EQ(rows.size(), 4u);
    EXPECT_EQ(rows[3].columns[M::kStatus], "") << "a retired row is no serial";
    EXPECT_EQ(rows[1].itemData, M::kSwept);
    EXPECT_EQ(rows[1].columns[M::kStatus], "Done");
    EXPECT_EQ(rows[2].itemData, 5000) << "5000 and above are no serials";

    // Idle already: a second quiet tick sweeps nothing new.
    h.app.NotifyView(STATUS_NEW_CLIENT, 12);
    h.Tick();
    EXPECT_EQ(h.model.Rows()[4].itemData, 12);
}
