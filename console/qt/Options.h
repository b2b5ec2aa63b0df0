#pragma once

#include <QDialog>
#include <vector>

class CAllow;
class CClientsPage;
class CDeny;
class CICMPEnable;
class CInboundPage;
class COptionsPage;
class COther;
class COutboundPage;
class CServerApp;
class CThreadsPage;
class QPushButton;
class QTabWidget;

// The modal "Server Options" sheet. Each opened page stores its own values straight into the
// server on OK and on Apply, in tab order; Cancel stores nothing more.
class COptions : public QDialog {
    Q_OBJECT
  public:
    explicit COptions(CServerApp& app, QWidget* parent = nullptr);

    void SetActivePage(COptionsPage* page);
    // Runs OnOK of every opened page, in tab order; OK does the same and closes.
    void OnApply();

    QTabWidget* Tabs() const { return m_pTabs; }
    QPushButton* ApplyButton() const { return m_pApply; }
    const std::vector<COptionsPage*>& Pages() const { return m_pages; }

    CInboundPage* m_pInbound;
    COutboundPage* m_pOutbound;
    CAllow* m_pAllow;
    CDeny* m_pDeny;
    COther* m_pOther;
    CClientsPage* m_pClients;
    CThreadsPage* m_pThreads;
    CICMPEnable* m_pIcmp;

  private:
    void OnTabChanged(int index);

    std::vector<COptionsPage*> m_pages;
    QTabWidget* m_pTabs;
    QPushButton* m_pApply;
};
