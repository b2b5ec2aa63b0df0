#pragma once

#include <array>
#include <cstdint>
#include <ctime>
#include <functional>
#include <string>
#include <vector>

#include "server/ClientListHost.h"
#include "server/ClientStatus.h"

// What a window or printer of the client list is told as rows come, change and go.
class ClientListObserver {
  public:
    virtual ~ClientListObserver() = default;
    // serial is the one the status message named; a retired row's key no longer tells it.
    virtual void RowAboutToBeInserted(int row) { (void)row; }
    virtual void RowInserted(int row, std::uint32_t serial) = 0;
    virtual void RowChanged(int row, std::uint32_t serial) = 0;
    // Rows 0 to count - 1 are about to leave, the oldest first; then they have left.
    virtual void RowsAboutToBeRemoved(int count) { (void)count; }
    virtual void RowsRemoved(int count) = 0;
    // A new client's row has been inserted: the place for the alert box or a repaint.
    virtual void ClientArrived(const std::string& text) { (void)text; }
    // The idle tick: true if an alert box existed and has now gone.
    virtual bool DestroyAlertBox() { return false; }
};

// The client list without drawing: one row per client, its item data both key and state, the
// row limit, the idle sweep, and the log every row goes to when it leaves.
class CClientListModel : public CClientView {
  public:
    enum Column { kClient, kFile, kStatus, kStart, kFinish, kResult, kColumns };
    // Item data of retired rows.
    static constexpr std::intptr_t kRetired = 0;
    static constexpr std::intptr_t kFailed = -1;
    static constexpr std::intptr_t kSwept = -2;

    struct Row {
        std::array<std::string, kColumns> columns;
        std::intptr_t itemData = 0;
        // Bytes of the last progress report, -1 before one. The Status cell's "%p, n" text is
        // made from it only when the rows are read, not once per block.
        std::int64_t nPosition = -1;
        std::int64_t nTotal = 0;
        bool bStatusPending = false;
    };

    explicit CClientListModel(ClientListHost& host);

    void SetObserver(ClientListObserver* pObserver) { m_pObserver = pObserver; }
    // Where the present local time comes from; the tests fix it.
    void SetTimeSource(std::function<std::time_t()> now) { m_now = std::move(now); }

    // The banner row "Quaylon V3.80" with "Ready", retired at once so serial 1 is free again.
    void AddBannerRow();

    void OnClientNew(std::uint32_t serial, CClientStatus& status) override;
    void OnClientFile(std::uint32_t serial, CClientStatus& status) override;
    void OnClientProgress(std::uint32_t serial, CClientStatus& status) override;
    void OnClientDone(std::uint32_t serial, std::intptr_t lParam) override;
    void OnClientResult(std::uint32_t serial, CClientStatus& status) override;

    // The 5000 ms tick: the idle work, then housekeeping and the priority pass.
    void OnTimer();

    int FindRow(std::uint32_t serial) const;
    void ClearRows();
    bool AppendRowToLog(const std::string& fileName) const;

    static int RowLimit(std::uint32_t nMaxDisplayPos);
    static std::string FormatTime(std::time_t when);

    // The rows with every cell's text up to date.
    const std::vector<Row>& Rows() const;
    // One row as it stands, its Status text perhaps behind its progress figures: for whoever is
    // told of every change and reads the cell's text seldom.
    const Row& RowAt(int row) const { return m_rows[static_cast<std::size_t>(row)]; }

  private:
    void MakeRoom();
    void IdleSweep();
    // Removes row 0, after its line has gone to the log if writing is still on.
    void RemoveOldest(bool& bWriting, const std::string& logFile);
    void Changed(int row, std::uint32_t serial);

    ClientListHost& m_host;
    ClientListObserver* m_pObserver = nullptr;
    std::function<std::time_t()> m_now;
    // Mutable so that reading the rows can bring their Status texts up to date.
    mutable std::vector<Row> m_rows;
    mutable bool m_bStatusPending = false;
    bool m_bIdle = false;
};
