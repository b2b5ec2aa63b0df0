#pragma once

#include <QColor>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "console/qt/MainFrame.h"
#include "console/qt/NewView.h"
#include "console/qt/QtEventLoop.h"
#include "console/qt/QtOperator.h"
#include "support/ServerHarness.h"

// The window's operator, noting message boxes and answering questions without a click.
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

// Constructed ahead of the server that runs on them.
struct QtParts {
    QtEventLoop loop;
    RecordingOperator op;
};

// The in-process server on Qt's loop, with the real main window.
class GuiServer : public QtParts, public InProcessServer {
  public:
    GuiServer() : InProcessServer(loop, op) {}
    ~GuiServer() override;

    bool Start();
    void Pump() override;

    CNewView& View() const { return *frame->View(); }
    ClientListItemModel& Model() const { return frame->View()->ItemModel(); }

    std::unique_ptr<CMainFrame> frame;
};

bool PumpUntil(const std::function<bool()>& done, int timeoutMs = 3000);

inline QString Cell(const ClientListItemModel& model, int row, int column) {
    return model.data(model.index(row, column), Qt::DisplayRole).toString();
}

inline QColor RowColour(const ClientListItemModel& model, int row) {
    return model.data(model.index(row, 0), Qt::ForegroundRole).value<QColor>();
}
