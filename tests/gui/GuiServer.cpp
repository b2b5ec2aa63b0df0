#include "GuiServer.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QTimer>

GuiServer::GuiServer() : port(FreeUdpPort()), app(loop, op, clock) {
    app.m_ConfigDir = config.Path();
    app.m_BindAddress = "127.0.0.1";
    app.Port = std::to_string(port);
    app.m_bPortArg = 1;  // as --port: the store's empty value must not replace it
    app.InPath = in.Dir();
    app.OutPath = out.Dir();
    app.LogFile = logDir / "Quaylon.log";
}

GuiServer::~GuiServer() {
    frame.reset();
    Pump();
    // No test here provokes a message box; one that came tells of a failure nobody saw.
    for (const std::string& text : op.messages) {
        ADD_FAILURE() << "message box: " << text;
    }
}

bool GuiServer::Start() {
    const char* argv[] = {"/usr/local/bin/quaylon-gui-test"};
    if (!app.InitInstance(1, argv)) {
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

std::unique_ptr<TftpPeer> GuiServer::NewPeer(const std::string& address) {
    return std::make_unique<TftpPeer>([this] { Pump(); }, address);
}

std::unique_ptr<TftpPeer> GuiServer::HangingRead() {
    WriteFile(out / "hang.bin", PatternBytes(5000));
    auto peer = NewPeer();
    return peer->Exchange(port, tftp::Rrq("hang.bin")) ? std::move(peer) : nullptr;
}

void GuiServer::NewClient(std::uint32_t serial, const std::string& text) {
    app.m_Status.text = text;
    app.NotifyView(STATUS_NEW_CLIENT, static_cast<std::int32_t>(serial));
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
