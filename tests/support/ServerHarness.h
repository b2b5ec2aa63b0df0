#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "console/ClientListModel.h"
#include "platform/EpollLoop.h"
#include "server/ServerApp.h"
#include "support/TempDir.h"
#include "support/TestDoubles.h"
#include "support/TftpPeer.h"

std::uint16_t FreeUdpPort();

// The server core in this process on 127.0.0.1, a free port and temporary directories.
class InProcessServer {
  public:
    InProcessServer(EventLoop& loop, Operator& op);
    virtual ~InProcessServer() = default;

    bool Init();
    virtual void Pump() = 0;
    std::unique_ptr<TftpPeer> NewPeer(const std::string& address = "127.0.0.1") {
        return std::make_unique<TftpPeer>([this] { Pump(); }, address);
    }
    // A status message for a client's row through the road the server core uses.
    void Notify(int status, std::int32_t serial, const std::string& text) {
        app.m_Status.text = text;
        app.NotifyView(status, serial);
    }
    // A peer whose read got its first block and never acknowledges it; null without the block.
    std::unique_ptr<TftpPeer> HangingRead();

    std::uint16_t port;
    TempDir in, out, config;
    ManualClock clock;
    CServerApp app;
};

// Constructed ahead of the server that runs on them.
struct EpollParts {
    EpollLoop loop;
    TestOperator op;
};

// The in-process server on an epoll loop with the client list as its view and a fake operator.
class ServerHarness : public EpollParts, public InProcessServer {
  public:
    ServerHarness() : InProcessServer(loop, op), model(app) {}
    ~ServerHarness() override { app.SetView(nullptr); }

    bool Start();
    void Pump() override;
    void Tick() { model.OnTimer(); }
    void ExpireAndTick() {
        clock.Advance(31);
        Tick();
    }

    CClientListModel model;
};
