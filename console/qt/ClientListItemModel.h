#pragma once

#include <QAbstractTableModel>
#include <QTimer>
#include <functional>

#include "console/ClientListModel.h"

// The client list as Qt's views see it. Row changes are gathered and announced on the event
// loop's schedule, so a fast transfer costs one repaint per interval, not one per block.
class ClientListItemModel : public QAbstractTableModel, public ClientListObserver {
    Q_OBJECT
  public:
    static constexpr int kItemDataRole = Qt::UserRole + 1;

    explicit ClientListItemModel(CClientListModel& rows, QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

    void RowAboutToBeInserted(int row) override;
    void RowInserted(int row, std::uint32_t serial) override;
    void RowChanged(int row, std::uint32_t serial) override;
    void RowsAboutToBeRemoved(int count) override;
    void RowsRemoved(int count) override;
    void ClientArrived(const std::string& text) override;
    bool DestroyAlertBox() override;

    // Announces the rows changed since the last call; the view's timer calls it.
    void FlushChanges();

    std::function<void(const std::string&)> onClientArrived;
    std::function<bool()> onDestroyAlertBox;

    static const char* const kHeadings[CClientListModel::kColumns];

  private:
    CClientListModel& m_rows;
    int m_firstDirty = -1;
    int m_lastDirty = -1;
    QTimer m_flush;
};
