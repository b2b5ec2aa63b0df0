#pragma once

#include <QPointer>
#include <QStyledItemDelegate>
#include <QTimer>
#include <QTreeView>
#include <memory>

#include "console/ClientListModel.h"
#include "console/qt/ClientListItemModel.h"

#include "console/qt/AlertBox.h"
class CIcmpMonitor;
class CIcmpReport;
class CServerApp;

// Draws a row the way the list shows clients: the row's colour on every cell, text cut with an
// ellipsis, and under "Use Graphic" a red frame with a blue bar for a send's percentage.
class ClientRowDelegate : public QStyledItemDelegate {
  public:
    explicit ClientRowDelegate(const bool& bUseGraphic, QObject* parent)
        : QStyledItemDelegate(parent), m_bUseGraphic(bUseGraphic) {}
    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;
    // A cell whose text is cut shows the whole text as a tool tip.
    bool helpEvent(QHelpEvent* event, QAbstractItemView* view, const QStyleOptionViewItem& option,
                   const QModelIndex& index) override;
    // Where a cell's text goes.
    static QRect TextRect(const QRect& cell);

  private:
    const bool& m_bUseGraphic;
};

// The one view: one row per client, the receiver of the status messages and the owner of the
// timer that drives the server's housekeeping.
class CNewView : public QTreeView {
    Q_OBJECT
  public:
    static constexpr int kTimerMs = 5000;

    CNewView(CServerApp& app, QWidget* parent = nullptr);
    ~CNewView() override;

    // Column widths from the store, the timer, the banner row; frame placement goes to the frame.
    void OnInitialUpdate();
    // The frame's window is going: the widths are stored with the frame's rectangle.
    void OnDestroy();
    // The frame's rectangle as it is stored and restored.
    QRect PlacementRect() const;
    // The operator is back at the program: an alert box goes.
    void OnActivateView();

    void OnClearDisplay() { m_model.ClearRows(); }
    void OnUseGraphic();
    void OnCheckVersion();
    // Shows the ICMP report if it is hidden, hides it if it is shown.
    void OnIcmpReport();
    void OnResetColumns();
    // The selected rows as text, a line each, cells between tabs; Ctrl+C copies it.
    QString SelectedText() const;
    bool UseGraphic() const { return m_bUseGraphic; }

    // One tick of the timer: idle work, housekeeping, priorities.
    void OnTimer();

    CClientListModel& Rows() { return m_model; }
    ClientListItemModel& ItemModel() { return m_itemModel; }
    CAlertBox* AlertBox() const { return m_pAlertBox; }
    // The report box, or null for a run without an ICMP monitor.
    CIcmpReport* IcmpReport() const { return m_pIcmpReport.get(); }
    bool TimerActive() const { return m_timer.isActive(); }

  protected:
    void keyPressEvent(QKeyEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

  private:
    void StretchLastColumn();
    void ShowAlert(const std::string& text);
    bool DestroyAlert();
    // The monitor and its box, where a raw socket can be had; silently none otherwise.
    void StartIcmpMonitor();

    CServerApp& m_app;
    CClientListModel m_model;
    ClientListItemModel m_itemModel;
    ClientRowDelegate m_delegate;
    QTimer m_timer;
    QPointer<CAlertBox> m_pAlertBox;
    std::unique_ptr<CIcmpReport> m_pIcmpReport;
    std::unique_ptr<CIcmpMonitor> m_pIcmpMonitor;
    bool m_bUseGraphic = false;
};
