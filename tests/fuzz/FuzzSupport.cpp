#include "fuzz/FuzzSupport.h"

#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>

namespace {

// Taken before libFuzzer closes the standard error, which the product's own reports would flood.
const int g_reportFd = dup(STDERR_FILENO);

}  // namespace

void FuzzFail(const char* property) {
    const std::string line = std::string("quaylon fuzz: broken: ") + property + "\n";
    [[maybe_unused]] const ssize_t written = write(g_reportFd, line.data(), line.size());
    std::abort();
}

std::string ScratchParent() {
    return std::filesystem::is_directory("/dev/shm") ? "/dev/shm" : "/tmp";
}

void ClearDirectory(const std::string& dir, const std::string& keep) {
    for (const auto& entry : std::filesystem::directory_iterator(dir)) {
        if (entry.path().filename() != keep) {
            std::filesystem::remove_all(entry.path());
        }
    }
}

std::unique_ptr<CClientSocket> FuzzServer::Start(const std::string& request) {
    auto socket = std::make_unique<CClientSocket>(h.app);
    socket->m_PeerAddr = client.Address();
    socket->m_LocalIp = "127.0.0.1";
    std::memcpy(socket->m_pBuffer.data(), request.data(), request.size());
    socket->StartRequest(static_cast<int>(request.size()));
    return socket;
}
