#include <gtest/gtest.h>

#include "support/ServerHarness.h"

namespace {

using M = CClientListModel;

// A model on an app that never listens: rows come from status messages sent by hand.
struct ListFixture : ::testing::Test {
    ListFixture() : app(loop, op, clock), model(app) {
        app.m_ConfigDir = dir / "config";
        app.LogFile = dir / "q.log";
        model.SetTimeSource([] { return std::time_t{1700000000}; });
        app.SetView(&model);
    }
    ~ListFixture() override { app.SetView(nullptr); }

    void NewClient(std::int32_t serial, const std::string& address) {
        app.m_Status.text = address;
        app.NotifyView(STATUS_NEW_CLIENT, serial);
    }
    void File(std::int32_t serial, const std::string& path) {
        app.m_Status.text = path;
        app.NotifyView(STATUS_FILE, serial);
    }
    void Finish(std::int32_t serial, const std::string& result, bool bTimedOut = false) {
        app.NotifyView(STATUS_DONE, serial);
        app.m_Status.text = result;
        app.NotifyView(bTimedOut ? STATUS_TIMED_OUT : STATUS_RESULT, serial);
    }

    TempDir dir;
    EpollLoop loop;
    TestOperator op;
    ManualClock clock;
    CServerApp app;
    CClientListModel model;
};

const std::string kTime = CClientListModel::FormatTime(1700000000);

}  // namespace

TEST_F(ListFixture, RowsFollowTheirClientUntilRetired) {
    model.AddBannerRow();
    NewClient(1, "127.0.0.9");
    File(1, "/srv/boot.bin");
    app.m_Status.nTotal = 2048;
    app.m_Status.nPosition = 1024;
    app.NotifyView(STATUS_PROGRESS, 1);
    ASSERT_EQ(model.Rows().size(), 2u);
    const M::Row& row = model.Rows()[1];
    EXPECT_EQ(row.columns[M::kStatus], "%50, 1024");
    EXPECT_EQ(app.m_Status.nTotal, 0) << "the figures are used once";
    EXPECT_EQ(row.itemData, 1);

    // With no figures the text stands in the Status column.
    app.m_Status.text = "Retrying";
    app.NotifyView(STATUS_RETRY, 1);
    EXPECT_EQ(model.Rows()[1].columns[M::kStatus], "Retrying");

    Finish(1, "TimedOut : Sending", true);
    EXPECT_EQ(model.Rows()[1].columns[M::kStatus], "Done");
    EXPECT_EQ(model.Rows()[1].columns[M::kFinish], kTime);
    EXPECT_EQ(model.Rows()[1].itemData, M::kFailed);

    // A retired row has no serial any more: later messages change nothing.
    File(1, "/elsewhere");
    EXPECT_EQ(model.Rows()[1].columns[M::kFile], "/srv/boot.bin");

    // The banner row is red, retired, and shows only the program, its start and "Ready".
    const M::Row& banner = model.Rows()[0];
    EXPECT_EQ(banner.columns[M::kClient], "Quaylon V3.80");
    EXPECT_EQ(banner.columns[M::kResult], "Ready");
    EXPECT_EQ(banner.columns[M::kFile], "");
    EXPECT_EQ(banner.itemData, M::kFailed);
}

TEST_F(ListFixture, ErrorRetiresAtOnceAndNewestRowWinsASharedSerial) {
    NewClient(7, "127.0.0.1");
    app.m_Status.text = "File not found";
    app.NotifyView(STATUS_ERROR, 7);
    Finish(7, "File not found : Sending");
    EXPECT_EQ(model.Rows()[0].columns[M::kStatus], "") << "no Done after an error";
    EXPECT_EQ(model.Rows()[0].columns[M::kResult], "File not found");
    EXPECT_EQ(model.Rows()[0].itemData, M::kRetired);

    NewClient(9, "127.0.0.2");
    NewClient(9, "127.0.0.3");
    File(9, "/x");
    EXPECT_EQ(model.Rows()[1].columns[M::kFile], "");
    EXPECT_EQ(model.Rows()[2].columns[M::kFile], "/x");
    EXPECT_EQ(model.FindRow(9), 2);
    EXPECT_EQ(model.FindRow(8), -1);
}

TEST_F(ListFixture, LimitSendsTheOldestRowsToTheLogInArrivalOrder) {
    app.nMaxDisplayPos = 0;  // five rows, six before the next insertion
    model.AddBannerRow();
    for (int serial = 1; serial <= 5; ++serial) {
        NewClient(serial, "127.0.0." + std::to_string(serial));
    }
    Finish(2, "Finished : Receiving");
    ASSERT_EQ(model.Rows().size(), 6u);
    EXPECT_FALSE(FileExists(app.LogFile)) << "nothing leaves before the limit is passed";

    NewClient(6, "127.0.0.6");  // six rows before it: one leaves, the banner
    ASSERT_EQ(model.Rows().size(), 6u);
    EXPECT_EQ(ReadFile(app.LogFile), "Quaylon V3.80  " + kTime + "  Ready\r\n");

    // Clearing sends every row, running ones too, in the order the clients came.
    model.ClearRows();
    const std::string log = ReadFile(app.LogFile);
    EXPECT_NE(log.find("127.0.0.1  " + kTime + "  \r\n127.0.0.2  " + kTime + " " + kTime +
                       " Finished : Receiving\r\n127.0.0.3"),
              std::string::npos)
        << log;
    EXPECT_TRUE(model.Rows().empty());

    // Messages for a row that left change nothing and make no row.
    File(6, "/late");
    EXPECT_TRUE(model.Rows().empty());
}

TEST_F(ListFixture, RowLimitPositions) {
    EXPECT_EQ(M::RowLimit(0), 5);
    EXPECT_EQ(M::RowLimit(5), 50);
    EXPECT_EQ(M::RowLimit(6), 100);
    EXPECT_EQ(M::RowLimit(255), 100);
}

TEST_F(ListFixture, ClearingWithoutAUsableLogStillEmptiesTheList) {
    NewClient(1, "127.0.0.1");
    NewClient(2, "127.0.0.2");
    app.LogFile.clear();
    model.ClearRows();
    EXPECT_TRUE(model.Rows().empty());

    NewClient(3, "127.0.0.3");
    app.LogFile = dir / "missing/dir/q.log";
    model.ClearRows();
    EXPECT_TRUE(model.Rows().empty());
    EXPECT_FALSE(FileExists(dir / "missing"));

    // An existing log is appended to, never truncated.
    WriteFile(dir / "old.log", "earlier\r\n");
    app.LogFile = dir / "old.log";
    NewClient(4, "127.0.0.4");
    model.ClearRows();
    EXPECT_EQ(ReadFile(dir / "old.log"), "earlier\r\n127.0.0.4  " + kTime + "  \r\n");
}

TEST(ClientListIdle, SweepMarksForgottenRowsOnceAndTickRunsHousekeeping) {
    ServerHarness h;
    ASSERT_TRUE(h.Start());
    h.app.m_Status.text = "127.0.0.5";
    h.app.NotifyView(STATUS_NEW_CLIENT, 4000);
    h.app.m_Status.text = "127.0.0.6";
    h.app.NotifyView(STATUS_NEW_CLIENT, 5000);
    h.Tick();  // no client on the table: the idle sweep
    const auto& rows = h.model.Rows();
    ASSERT_EQ(rows.size(), 3u);
    EXPECT_EQ(rows[1].itemData, M::kSwept);
    EXPECT_EQ(rows[1].columns[M::kStatus], "Done");
    EXPECT_EQ(rows[2].itemData, 5000) << "5000 and above are no serials";
    EXPECT_EQ(rows[0].itemData, M::kFailed) << "the banner stays red";

    // Idle already: a second quiet tick sweeps nothing new.
    h.app.m_Status.text = "127.0.0.7";
    h.app.NotifyView(STATUS_NEW_CLIENT, 12);
    h.Tick();
    EXPECT_EQ(h.model.Rows()[3].itemData, 12);
}
