#include "app/StatusPrinter.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <ctime>

#include "policy/Paths.h"

namespace {

using M = CClientListModel;
constexpr auto kProgressEvery = std::chrono::seconds(1);

// The item data of a client still being served, as the idle sweep tells it.
bool IsLive(std::intptr_t itemData) {
    return itemData > 0 && itemData < 5000;
}

std::string OrDash(const std::string& text) {
    return text.empty() ? "-" : text;
}

std::string Head(std::uint32_t serial, const char* event, const M::Row& row) {
    return M::FormatTime(std::time(nullptr)) + " [" + std::to_string(serial) + "] " + event + " " +
           OrDash(row.columns[M::kClient]);
}

}  // namespace

StatusPrinter::StatusPrinter(const CClientListModel& model, bool bVerbose)
    : m_model(model), m_bVerbose(bVerbose), m_fd(STDOUT_FILENO) {
    struct stat info {};
    if (fstat(STDOUT_FILENO, &info) == 0 && (S_ISFIFO(info.st_mode) || S_ISCHR(info.st_mode))) {
        // Opened anew, so that the non-blocking mode stays off whoever shares the pipe or terminal.
        const int fd = open("/proc/self/fd/1", O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
        if (fd >= 0) {
            m_fd = fd;
            m_bOwnFd = true;
            return;
        }
    }
    const int flags = fcntl(STDOUT_FILENO, F_GETFL);
    if (flags >= 0 && (flags & O_NONBLOCK) == 0 &&
        fcntl(STDOUT_FILENO, F_SETFL, flags | O_NONBLOCK) == 0) {
        m_restoreFlags = flags;
    }
}

StatusPrinter::~StatusPrinter() {
    FinishPending();
    if (m_bOwnFd) {
        close(m_fd);
    } else if (m_restoreFlags >= 0) {
        fcntl(STDOUT_FILENO, F_SETFL, m_restoreFlags);
    }
}

void StatusPrinter::RowInserted(int row, std::uint32_t serial) {
    const Instant now = std::chrono::steady_clock::now();
    m_clients[serial] = Client{now, now, std::nullopt};
    Emit(Head(serial, "start", m_model.Rows()[static_cast<std::size_t>(row)]));
}

void StatusPrinter::RowChanged(int row, std::uint32_t serial) {
    const auto it = m_clients.find(serial);
    if (it == m_clients.end()) {
        return;
    }
    // Told of every block: the row as it stands, its Status text made only when printed.
    const M::Row& r = m_model.RowAt(row);
    Client& client = it->second;
    if (r.nPosition >= 0) {
        client.bytes = r.nPosition;
    }
    if (!IsLive(r.itemData)) {
        PrintEnd(r, serial, client);
        m_clients.erase(it);
        return;
    }
    // A row with a finish time only waits for its result: the end line will tell.
    const Instant now = std::chrono::steady_clock::now();
    if (m_bVerbose && r.columns[M::kFinish].empty() &&
        now - client.lastProgress >= kProgressEvery) {
        client.lastProgress = now;
        const M::Row& shown = m_model.Rows()[static_cast<std::size_t>(row)];
        Emit(Head(serial, "progress", shown) + " | " + OrDash(shown.columns[M::kFile]) + " | " +
             OrDash(shown.columns[M::kStatus]));
    }
}

void StatusPrinter::RowsAboutToBeRemoved(int count) {
    // A row pushed out of the list, or cleared at the end, while its client was still served.
    for (int row = 0; row < count; ++row) {
        const M::Row& r = m_model.Rows()[static_cast<std::size_t>(row)];
        const auto it = IsLive(r.itemData) ? m_clients.find(static_cast<std::uint32_t>(r.itemData))
                                           : m_clients.end();
        if (it != m_clients.end()) {
            PrintEnd(r, it->first, it->second);
            m_clients.erase(it);
        }
    }
}

void StatusPrinter::PrintEnd(const M::Row& row, std::uint32_t serial, const Client& client) {
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - client.start;
    char timing[32];
    std::snprintf(timing, sizeof timing, "%.1f s", seconds.count());
    Emit(Head(serial, "end", row) + " | " + OrDash(row.columns[M::kFile]) + " | " +
         OrDash(row.columns[M::kResult]) + " | " +
         (client.bytes ? std::to_string(*client.bytes) : std::string("-")) + " bytes | " + timing);
}

bool StatusPrinter::FinishPending() {
    while (!m_pending.empty()) {
        const ssize_t n = write(m_fd, m_pending.data(), m_pending.size());
        if (n <= 0) {
            return false;
        }
        m_pending.erase(0, static_cast<std::size_t>(n));
    }
    return true;
}

void StatusPrinter::Emit(const std::string& line) {
    if (!FinishPending()) {
        ++m_dropped;
        return;
    }
    std::string text = PrintableName(line);
    if (m_dropped != 0) {
        text +=
            " (" + std::to_string(m_dropped) + (m_dropped == 1 ? " line" : " lines") + " dropped)";
    }
    text += '\n';
    const ssize_t n = write(m_fd, text.data(), text.size());
    if (n < 0) {
        ++m_dropped;
        return;
    }
    m_dropped = 0;
    m_pending = text.substr(static_cast<std::size_t>(n));
}
