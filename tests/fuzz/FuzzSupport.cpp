#include "fuzz/FuzzSupport.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <stdexcept>

namespace {

// Taken before libFuzzer closes the standard error, which the product's own reports would flood.
const int g_reportFd = dup(STDERR_FILENO);

}  // namespace

void FuzzFail(const char* property) {
    const std::string line = std::string("quaylon fuzz: broken: ") + property + "\n";
    [[maybe_unused]] const ssize_t written = write(g_reportFd, line.data(), line.size());
    std::abort();
}

ScratchDir::ScratchDir() {
    struct stat info {};
    const bool bShm = stat("/dev/shm", &info) == 0 && S_ISDIR(info.st_mode);
    std::string templ = bShm ? "/dev/shm/quaylon-fuzz-XXXXXX" : "/tmp/quaylon-fuzz-XXXXXX";
    if (mkdtemp(templ.data()) == nullptr) {
        throw std::runtime_error("mkdtemp failed");
    }
    m_path = templ;
}

ScratchDir::~ScratchDir() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

void ClearDirectory(const std::string& dir, const std::string& keep) {
    for (const auto& entry : std::filesystem::directory_iterator(dir)) {
        if (entry.path().filename() != keep) {
            std::filesystem::remove_all(entry.path());
        }
    }
}

ReplySink::ReplySink() : m_buffer(70000) {
    m_fd = socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    m_address.sin_family = AF_INET;
    m_address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof m_address;
    if (m_fd < 0 || bind(m_fd, reinterpret_cast<sockaddr*>(&m_address), len) != 0 ||
        getsockname(m_fd, reinterpret_cast<sockaddr*>(&m_address), &len) != 0) {
        throw std::runtime_error("cannot bind the reply sink on 127.0.0.1");
    }
}

ReplySink::~ReplySink() {
    close(m_fd);
}

std::vector<std::pair<std::uint16_t, std::string>> ReplySink::Drain() {
    std::vector<std::pair<std::uint16_t, std::string>> datagrams;
    for (;;) {
        sockaddr_in from{};
        socklen_t len = sizeof from;
        const ssize_t n = recvfrom(m_fd, m_buffer.data(), m_buffer.size(), 0,
                                   reinterpret_cast<sockaddr*>(&from), &len);
        if (n < 0) {
            return datagrams;
        }
        datagrams.emplace_back(ntohs(from.sin_port),
                               std::string(m_buffer.data(), static_cast<std::size_t>(n)));
    }
}
