#include "support/ServerHarness.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

std::uint16_t FreeUdpPort() {
    const int fd = socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in local{};
    local.sin_family = AF_INET;
    local.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    bind(fd, reinterpret_cast<sockaddr*>(&local), sizeof local);
    socklen_t len = sizeof local;
    getsockname(fd, reinterpret_cast<sockaddr*>(&local), &len);
    close(fd);
    return ntohs(local.sin_port);
}

ServerHarness::ServerHarness() : port(FreeUdpPort()), app(loop, op, clock), model(app) {
    app.m_BindAddress = "127.0.0.1";
    app.m_ConfigDir = config.Path();
    app.Port = std::to_string(port);
    app.m_bPortArg = 1;
    app.InPath = in.Dir();
    app.OutPath = out.Dir();
    app.LogFile.clear();
}

ServerHarness::~ServerHarness() {
    app.SetView(nullptr);
}

bool ServerHarness::Start() {
    const char* argv[] = {"/usr/local/bin/quaylon-test"};
    if (!app.InitInstance(1, argv)) {
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

std::unique_ptr<TftpPeer> ServerHarness::NewPeer(const std::string& address) {
    return std::make_unique<TftpPeer>([this] { Pump(); }, address);
}
