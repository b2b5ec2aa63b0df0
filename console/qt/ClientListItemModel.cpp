#include "console/qt/ClientListItemModel.h"

#include <QColor>
#include <QGuiApplication>
#include <QPalette>
#include <algorithm>

const char* const ClientListItemModel::kHeadings[CClientListModel::kColumns] = {
    "Client", "File", "Status", "Start", "Finish", "Result"};

namespace {
// How often gathered row changes reach the screen.
constexpr int kFlushMs = 100;
}  // namespace

ClientListItemModel::ClientListItemModel(CClientListModel& rows, QObject* parent)
    : QAbstractTableModel(parent), m_rows(rows) {
    m_flush.setSingleShot(true);
    m_flush.setInterval(kFlushMs);
    connect(&m_flush, &QTimer::timeout, this, &ClientListItemModel::FlushChanges);
    m_rows.SetObserver(this);
}

int ClientListItemModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(m_rows.Rows().size());
}

int ClientListItemModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : CClientListModel::kColumns;
}

QVariant ClientListItemModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || index.row() >= rowCount()) {
        return {};
    }
    const CClientListModel::Row& row = m_rows.Rows()[static_cast<std::size_t>(index.row())];
    switch (role) {
        case Qt::DisplayRole:
            return QString::fromStdString(row.columns[static_cast<std::size_t>(index.column())]);
        case kItemDataRole:
            return QVariant::fromValue<qlonglong>(row.itemData);
        case Qt::ForegroundRole:
            if (row.itemData > 0) {
                return QColor(0, 0, 255);
            }
            if (row.itemData == CClientListModel::kFailed) {
                return QColor(255, 0, 0);
            }
            if (row.itemData == CClientListModel::kSwept) {
                return QColor(255, 255, 0);
            }
            return QGuiApplication::palette().color(QPalette::WindowText);
        default:
            return {};
    }
}

QVariant ClientListItemModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation == Qt::Horizontal && role == Qt::DisplayRole && section >= 0 &&
        section < CClientListModel::kColumns) {
        return QString(kHeadings[section]);
    }
    return {};
}

void ClientListItemModel::RowAboutToBeInserted(int row) {
    FlushChanges();
    beginInsertRows({}, row, row);
}

void ClientListItemModel::RowInserted(int, std::uint32_t) {
    endInsertRows();
}

void ClientListItemModel::RowChanged(int row, std::uint32_t) {
    m_firstDirty = m_firstDirty < 0 ? row : std::min(m_firstDirty, row);
    m_lastDirty = std::max(m_lastDirty, row);
    if (!m_flush.isActive()) {
        m_flush.start();
    }
}

void ClientListItemModel::RowsAboutToBeRemoved(int count) {
    FlushChanges();
    beginRemoveRows({}, 0, count - 1);
}

void ClientListItemModel::RowsRemoved(int) {
    endRemoveRows();
}

void ClientListItemModel::FlushChanges() {
    if (m_firstDirty < 0) {
        return;
    }
    const int last = std::min(m_lastDirty, rowCount() - 1);
    if (m_firstDirty <= last) {
        emit dataChanged(index(m_firstDirty, 0), index(last, CClientListModel::kColumns - 1));
    }
    m_firstDirty = m_lastDirty = -1;
}

void ClientListItemModel::ClientArrived(const std::string& text) {
    if (onClientArrived) {
        onClientArrived(text);
    }
}

bool ClientListItemModel::DestroyAlertBox() {
    return onDestroyAlertBox && onDestroyAlertBox();
}
