#pragma once

#include <QDialog>

#include "extras/IcmpMonitor.h"

class QTreeWidget;

// "Detected ICMP Messages": a hidden tool window that mirrors the monitor's rows, newest on top.
// Hiding it loses nothing.
class CIcmpReport : public QDialog {
    Q_OBJECT
  public:
    explicit CIcmpReport(QWidget* parent = nullptr);

    // The rows after one datagram changed them.
    void Apply(const CIcmpReportRows& rows, const CIcmpReportRows::Change& change);
    QTreeWidget* List() const { return m_List; }

  protected:
    void resizeEvent(QResizeEvent* event) override;

  private:
    QTreeWidget* m_List;
};
