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

// A free UDP port on 127.0.0.1 at the moment of asking.
std::uint16_t FreeUdpPort();

// The server core in this process on 127.0.0.1, with the client list as its view, a fake
// operator and a hand-moved clock. InPath and OutPath are temporary directories.
class ServerHarness {
  public:
    ServerHarness();
    ~ServerHarness();

    // InitInstance; false if the server would not start.
    bool Start();
    // Runs whatever the loop has ready, without blocking.
    void Pump();
    // The 5000 ms tick, driven by hand.
    void Tick() { model.OnTimer(); }
    // Moves the clock past the default time-out, then ticks.
    void ExpireAndTick() {
        clock.Advance(31);
        Tick();
    }
    std::unique_ptr<TftpPeer> NewPeer(const std::string& address = "127.0.0.1");

    std::uint16_t port;
    TempDir in;
    TempDir out;
    TempDir config;
    EpollLoop loop;
    TestOperator op;
    ManualClock clock;
    CServerApp app;
    CClientListModel model;
};
