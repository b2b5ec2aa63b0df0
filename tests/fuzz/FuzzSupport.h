#pragma once

#include <memory>
#include <string>

#include "server/ClientSocket.h"
#include "support/ServerHarness.h"

// Names the broken property on the standard error that -close_fd_mask=2 leaves, then aborts.
[[noreturn]] void FuzzFail(const char* property);

inline void Require(bool bHolds, const char* property) {
    if (!bHolds) {
        FuzzFail(property);
    }
}

// In memory when /dev/shm is there, so that the store's fsync costs nothing.
std::string ScratchParent();

void ClearDirectory(const std::string& dir, const std::string& keep = "");

// The server core, never started, and the peer that its client sockets answer.
struct FuzzServer {
    // A client socket on its first datagram, handed over as CListenSocket::NewClient hands it:
    // the request is parsed, its options negotiated and its file opened.
    std::unique_ptr<CClientSocket> Start(const std::string& request);

    ServerHarness h;
    TftpPeer client{nullptr};
};
