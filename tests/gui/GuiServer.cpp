#include "GuiServer.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QDialog>
#include <QElapsedTimer>
#include <QPointer>
#include <QThread>
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
    if (!peer->Exchange(port, tftp::Rrq("hang.bin"))) {
        return nullptr;
    }
    return peer;
}

void GuiServer::ExpireAndTick() {
    clock.Advance(31);
    View().OnTimer();
}

void GuiServer::NewClient(std::uint32_t serial, const std::string& text) {
    app.m_Status.text = text;
    app.NotifyView(STATUS_NEW_CLIENT, static_cast<std::int32_t>(serial));
}

bool PumpUntil(const std::function<bool()>& done, int timeoutMs) {
    QElapsedTimer timer;
    timer.start();
    while (!done()) {
        if (timer.elapsed() > timeoutMs) {
            return done();
        }
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QThread::msleep(5);
    }
    return true;
}

void WhenModalOpens(std::function<void(QWidget*)> act) {
    // Polls from inside the dialog's own loop; gives up after a few seconds.
    auto* poll = new QTimer();
    auto tries = std::make_shared<int>(0);
    QObject::connect(poll, &QTimer::timeout, [poll, tries, act = std::move(act)] {
        QWidget* modal = QApplication::activeModalWidget();
        if (modal == nullptr && ++*tries < 300) {
            return;
        }
        poll->stop();
        poll->deleteLater();
        if (modal == nullptr) {
            return;
        }
        QPointer<QWidget> guard(modal);
        act(modal);
        if (guard && guard->isVisible()) {
            if (auto* dialog = qobject_cast<QDialog*>(guard.data())) {
                dialog->reject();
            }
        }
    });
    poll->start(10);
}

QColor PixelAt(const QImage& image, int x, int y) {
    return QColor(image.pixel(x, y)).toRgb();
}
