#pragma once

#include <QAbstractItemModel>
#include <QColor>
#include <QObject>

#include "console/ClientListModel.h"
#include "console/qt/ClientListItemModel.h"

// Counts what a Qt model announces, so that a view bound to it can be trusted to follow.
class ModelWatch {
  public:
    explicit ModelWatch(QAbstractItemModel& model) {
        QObject::connect(
            &model, &QAbstractItemModel::rowsInserted, &m_context,
            [this](const QModelIndex&, int first, int last) { inserted += last - first + 1; });
        QObject::connect(
            &model, &QAbstractItemModel::rowsRemoved, &m_context,
            [this](const QModelIndex&, int first, int last) { removed += last - first + 1; });
        QObject::connect(&model, &QAbstractItemModel::modelReset, &m_context, [this] { ++resets; });
        QObject::connect(&model, &QAbstractItemModel::dataChanged, &m_context,
                         [this] { ++changes; });
    }

    int inserted = 0;
    int removed = 0;
    int resets = 0;
    int changes = 0;

  private:
    QObject m_context;
};

inline QString Cell(const ClientListItemModel& model, int row, int column) {
    return model.data(model.index(row, column), Qt::DisplayRole).toString();
}

inline QColor RowColour(const ClientListItemModel& model, int row, int column = 0) {
    return model.data(model.index(row, column), Qt::ForegroundRole).value<QColor>();
}

inline const QColor kBlue(0, 0, 255);
inline const QColor kRed(255, 0, 0);
inline const QColor kYellow(255, 255, 0);
