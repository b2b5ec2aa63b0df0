#include "GuiServer.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QTimer>

GuiServer::~GuiServer() {
    frame.reset();
    Pump();
    // No test here provokes a message box; one that came tells of a failure nobody saw.
    for (const std::string& text : op.messages) {
        ADD_FAILURE() << "message box: " << text;
    }
}

bool GuiServer::Start() {
    if (!Init()) {
        return false;
    }
    frame = std::make_unique<CMainFrame>(app, op);
    op.SetParent(frame.get());
    frame->show();
    Pump();
    return true;
}

void GuiServer::Pump() {
    QCoreApplication::processEvents(QEventLoop::AllEvents);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

bool PumpUntil(const std::function<bool()>& done, int timeoutMs) {
    const QDeadlineTimer deadline(timeoutMs);
    QTimer wake;  // ends each wait below soon, so the deadline is seen
    wake.start(10);
    while (!done() && !deadline.hasExpired()) {
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
    return done();
}
