#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "console/ClientListModel.h"

// The daemon's standard output: a line when a client's row starts and one when it ends, and with
// bVerbose its progress at most once a second. Writes never wait; a line that cannot be written at
// once is dropped, and the next line that gets through says how many were.
class StatusPrinter : public ClientListObserver {
  public:
    StatusPrinter(const CClientListModel& model, bool bVerbose);
    ~StatusPrinter() override;
    StatusPrinter(const StatusPrinter&) = delete;
    StatusPrinter& operator=(const StatusPrinter&) = delete;

    // A line of the program's own, such as "Quaylon serving on ...".
    void Announce(const std::string& text) { Emit(text); }

    void RowInserted(int row, std::uint32_t serial) override;
    void RowChanged(int row, std::uint32_t serial) override;
    void RowsAboutToBeRemoved(int count) override;
    void RowsRemoved(int) override {}

  private:
    using Instant = std::chrono::steady_clock::time_point;
    struct Client {
        Instant start;
        Instant lastProgress;
        std::optional<std::int64_t> bytes;  // the last figure the status column showed
    };

    void PrintEnd(const CClientListModel::Row& row, std::uint32_t serial, const Client& client);
    // Writes the line, control bytes escaped, or counts it as dropped.
    void Emit(const std::string& line);
    // Writes what is left of a line written in part; false while some still is.
    bool FinishPending();

    const CClientListModel& m_model;
    const bool m_bVerbose;
    int m_fd = -1;
    bool m_bOwnFd = false;
    int m_restoreFlags = -1;  // standard output's flags before it was made non-blocking
    std::string m_pending;
    unsigned long m_dropped = 0;
    std::map<std::uint32_t, Client> m_clients;  // live rows by serial
};
