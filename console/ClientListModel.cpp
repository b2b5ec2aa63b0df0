#include "console/ClientListModel.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

#include "settings/Settings.h"
#include "settings/Version.h"

CClientListModel::CClientListModel(ClientListHost& host)
    : m_host(host), m_now([] { return std::time(nullptr); }) {}

std::string CClientListModel::FormatTime(std::time_t when) {
    std::tm local{};
    localtime_r(&when, &local);
    char text[64];
    std::strftime(text, sizeof text, "%d %b, %H:%M:%S", &local);
    return text;
}

int CClientListModel::RowLimit(std::uint32_t nMaxDisplayPos) {
    static constexpr int kLimits[] = {5, 10, 20, 30, 40, 50};
    return nMaxDisplayPos < 6 ? kLimits[nMaxDisplayPos] : 100;
}

void CClientListModel::Changed(int row, std::uint32_t serial) {
    if (m_pObserver != nullptr) {
        m_pObserver->RowChanged(row, serial);
    }
}

void CClientListModel::AddBannerRow() {
    CClientStatus banner;
    banner.text = kRunningVersion;
    OnClientNew(1, banner);
    banner.text = "Ready";
    banner.bFailed = 1;
    OnClientResult(1, banner);
}

int CClientListModel::FindRow(std::uint32_t serial) const {
    for (int row = static_cast<int>(m_rows.size()) - 1; row >= 0; --row) {
        if (m_rows[static_cast<std::size_t>(row)].itemData == static_cast<std::intptr_t>(serial)) {
            return row;
        }
    }
    return -1;
}

void CClientListModel::OnClientNew(std::uint32_t serial, CClientStatus& status) {
    MakeRoom();
    Row row;
    row.columns[kClient] = status.text;
    row.columns[kStart] = FormatTime(m_now());
    row.itemData = static_cast<std::intptr_t>(serial);
    if (m_pObserver != nullptr) {
        m_pObserver->RowAboutToBeInserted(static_cast<int>(m_rows.size()));
    }
    m_rows.push_back(std::move(row));
    if (m_pObserver != nullptr) {
        m_pObserver->RowInserted(static_cast<int>(m_rows.size()) - 1, serial);
        m_pObserver->ClientArrived(status.text);
    }
}

void CClientListModel::OnClientFile(std::uint32_t serial, CClientStatus& status) {
    const int row = FindRow(serial);
    if (row < 0) {
        return;
    }
    m_rows[static_cast<std::size_t>(row)].columns[kFile] = status.text;
    Changed(row, serial);
}

void CClientListModel::OnClientProgress(std::uint32_t serial, CClientStatus& status) {
    const int row = FindRow(serial);
    if (row < 0) {
        return;
    }
    Row& r = m_rows[static_cast<std::size_t>(row)];
    if (status.nTotal != 0) {
        r.nPosition = status.nPosition;
        r.nTotal = status.nTotal;
        r.bStatusPending = true;
        m_bStatusPending = true;
        status.nTotal = 0;
    } else {
        r.columns[kStatus] = status.text;
        r.bStatusPending = false;
    }
    Changed(row, serial);
}

const std::vector<CClientListModel::Row>& CClientListModel::Rows() const {
    if (m_bStatusPending) {
        m_bStatusPending = false;
        for (Row& r : m_rows) {
            if (r.bStatusPending) {
                const auto percent = static_cast<long long>(
                    (100.0 / static_cast<double>(r.nTotal)) * static_cast<double>(r.nPosition));
                char text[64];
                std::snprintf(text, sizeof text, "%%%lld, %lld", percent,
                              static_cast<long long>(r.nPosition));
                r.columns[kStatus] = text;
                r.bStatusPending = false;
            }
        }
    }
    return m_rows;
}

void CClientListModel::OnClientDone(std::uint32_t serial, std::intptr_t lParam) {
    const int row = FindRow(serial);
    if (row < 0) {
        return;
    }
    Row& r = m_rows[static_cast<std::size_t>(row)];
    r.columns[kStatus] = "Done";
    r.bStatusPending = false;
    r.columns[kFinish] = FormatTime(m_now());
    if (lParam != 0) {
        r.itemData = lParam;
    }
    Changed(row, serial);
}

void CClientListModel::OnClientResult(std::uint32_t serial, CClientStatus& status) {
    const int row = FindRow(serial);
    if (row < 0) {
        return;
    }
    Row& r = m_rows[static_cast<std::size_t>(row)];
    r.columns[kResult] = status.text;
    r.itemData = status.bFailed ? kFailed : kRetired;
    Changed(row, serial);
}

bool CClientListModel::AppendRowToLog(const std::string& fileName) const {
    if (m_rows.empty()) {
        return false;
    }
    const Row& row = m_rows.front();
    const std::string line = row.columns[kClient] + " " + row.columns[kFile] + " " +
                             row.columns[kStart] + " " + row.columns[kFinish] + " " +
                             row.columns[kResult] + "\r\n";
    const int fd = open(fileName.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    if (fd < 0) {
        return false;
    }
    const bool bWritten = write(fd, line.data(), line.size()) == static_cast<ssize_t>(line.size());
    return close(fd) == 0 && bWritten;
}

void CClientListModel::RemoveOldest(bool& bWriting, const std::string& logFile) {
    if (bWriting && !AppendRowToLog(logFile)) {
        bWriting = false;
    }
    if (m_pObserver != nullptr) {
        m_pObserver->RowsAboutToBeRemoved(1);
    }
    m_rows.erase(m_rows.begin());
    if (m_pObserver != nullptr) {
        m_pObserver->RowsRemoved(1);
    }
}

void CClientListModel::MakeRoom() {
    const int limit = RowLimit(m_host.Settings().nMaxDisplayPos);
    const std::string logFile = m_host.Settings().LogFile;
    bool bWriting = !logFile.empty();
    while (static_cast<int>(m_rows.size()) > limit) {
        RemoveOldest(bWriting, logFile);
    }
}

void CClientListModel::ClearRows() {
    const std::string logFile = m_host.Settings().LogFile;
    bool bWriting = !logFile.empty();
    while (!m_rows.empty()) {
        RemoveOldest(bWriting, logFile);
    }
}

void CClientListModel::IdleSweep() {
    for (int row = static_cast<int>(m_rows.size()) - 1; row >= 0; --row) {
        const auto data =
            static_cast<std::uint32_t>(m_rows[static_cast<std::size_t>(row)].itemData);
        if (data > 0 && data < 5000) {
            OnClientDone(data, kSwept);
        }
    }
}

void CClientListModel::OnTimer() {
    if (m_host.ClientCount() != 0) {
        m_bIdle = false;
    } else if (m_pObserver != nullptr && m_pObserver->DestroyAlertBox()) {
        // At most one piece of idle work per tick.
    } else if (!m_bIdle) {
        m_bIdle = true;
        IdleSweep();
    }
    m_host.Tick();
}
