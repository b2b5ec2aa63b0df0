#pragma once

#include <QColor>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "console/qt/MainFrame.h"
#include "console/qt/NewView.h"
#include "console/qt/QtEventLoop.h"
#include "console/qt/QtOperator.h"
#include "server/ServerApp.h"
#include "support/ServerHarness.h"
#include "support/TempDir.h"
#include "support/TestDoubles.h"
#include "support/TftpPeer.h"

// The operator at the window, except that message boxes and questions are noted (and answered)
// instead of waiting for a click: the decision boxes and dialogs stay the real ones.
class RecordingOperator : public QtOperator {
  public:
    void ShowMessage(const std::string& text, BoxIcon) override { messages.push_back(text); }
    bool AskYesNo(const std::string& text) override {
        questions.push_back(text);
        return bYes;
    }
    std::vector<std::string> messages;
    std::vector<std::string> questions;
    bool bYes = false;  // the answer to every question
};

// The real server on 127.0.0.1 on Qt's loop, with the real main window. The settings store,
// the log and both directories are temporary; the clock moves by hand.
class GuiServer {
  public:
    GuiServer();
    ~GuiServer();

    // InitInstance, then the main window, shown.
    bool Start();
    // Runs what Qt has ready, deferred deletions included.
    void Pump();
    std::unique_ptr<TftpPeer> NewPeer(const std::string& address = "127.0.0.1");
    // A read that has had its first block and will never acknowledge it.
    std::unique_ptr<TftpPeer> HangingRead();
    // A new row through the road the server core uses.
    void NewClient(std::uint32_t serial, const std::string& text);

    CNewView& View() const { return *frame->View(); }
    ClientListItemModel& Model() const { return frame->View()->ItemModel(); }

    std::uint16_t port;
    TempDir config, in, out, logDir;
    QtEventLoop loop;
    RecordingOperator op;
    ManualClock clock;
    CServerApp app;
    std::unique_ptr<CMainFrame> frame;
};

// Pumps until done() holds, at most timeoutMs; the last answer of done().
bool PumpUntil(const std::function<bool()>& done, int timeoutMs = 3000);

inline QString Cell(const ClientListItemModel& model, int row, int column) {
    return model.data(model.index(row, column), Qt::DisplayRole).toString();
}

inline QColor RowColour(const ClientListItemModel& model, int row) {
    return model.data(model.index(row, 0), Qt::ForegroundRole).value<QColor>();
}
