#include "support/ServerHarness.h"

#include <unistd.h>

std::uint16_t FreeUdpPort() {
    const int fd = bench::OpenLoopbackUdp();
    const std::uint16_t port = ntohs(BoundAddress(fd).sin_port);
    close(fd);
    return port;
}

InProcessServer::InProcessServer(EventLoop& loop, Operator& op)
    : port(FreeUdpPort()), app(loop, op, clock) {
    app.m_BindAddress = "127.0.0.1";
    app.m_ConfigDir = config.Path();
    app.Port = std::to_string(port);
    app.m_bPortArg = 1;  // as --port: the store's empty value must not replace it
    app.InPath = in.Dir();
    app.OutPath = out.Dir();
    app.LogFile = config / "Quaylon.log";
}

bool InProcessServer::Init() {
    const char* argv[] = {"/usr/local/bin/quaylon-test"};
    return app.InitInstance(1, argv);
}

std::unique_ptr<TftpPeer> InProcessServer::HangingRead() {
    WriteFile(out / "hang.bin", PatternBytes(5000));
    auto peer = NewPeer();
    return peer->Exchange(port, tftp::Rrq("hang.bin")) ? std::move(peer) : nullptr;
}

bool ServerHarness::Start() {
    if (!Init()) {
        return false;
    }
    app.SetView(&model);
    model.AddBannerRow();
    return true;
}

void ServerHarness::Pump() {
    while (loop.RunOnce(0) > 0) {
    }
}
