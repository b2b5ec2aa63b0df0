#include "console/qt/Options.h"

#include <QDialogButtonBox>
#include <QPushButton>
#include <QTabWidget>
#include <QVBoxLayout>

#include "console/qt/AddressPage.h"
#include "console/qt/ClientsPage.h"
#include "console/qt/DialogFrame.h"
#include "console/qt/DirectoryPages.h"
#include "console/qt/ICMPEnable.h"
#include "console/qt/OtherPage.h"
#include "console/qt/ThreadsPage.h"
#include "server/ListenSocket.h"
#include "server/ServerApp.h"

COptions::COptions(CServerApp& app, QWidget* parent) : QDialog(parent) {
    UseDialogFrame(this, "Server Options", true);
    m_pInbound = new CInboundPage(app, this);
    m_pOutbound = new COutboundPage(app, this);
    m_pAllow = new CAllow(app, this);
    m_pDeny = new CDeny(app, this);
    const int addresses = app.m_pListenSocket ? app.m_pListenSocket->m_nAddressCount : 0;
    m_pOther = new COther(app, addresses, this);
    m_pClients = new CClientsPage(app, this);
    m_pThreads = new CThreadsPage(app, this);
    m_pIcmp = new CICMPEnable(app, this);
    m_pages = {m_pInbound, m_pOutbound, m_pAllow,   m_pDeny,
               m_pOther,   m_pClients,  m_pThreads, m_pIcmp};

    m_pTabs = new QTabWidget(this);
    m_pTabs->setUsesScrollButtons(false);
    for (COptionsPage* page : m_pages) {
        // The tab text shows "&&" as one '&'.
        m_pTabs->addTab(page, page->Caption());
        connect(page, &COptionsPage::ModifiedChanged, this, [this] {
            bool bAny = false;
            for (const COptionsPage* p : m_pages) {
                bAny = bAny || p->Modified();
            }
            m_pApply->setEnabled(bAny);
        });
    }
    auto* buttons = new QDialogButtonBox(
        QDialogButtonBox::Ok | QDialogButtonBox::Cancel | QDialogButtonBox::Apply, this);
    m_pApply = buttons->button(QDialogButtonBox::Apply);
    m_pApply->setEnabled(false);
    connect(buttons, &QDialogButtonBox::accepted, this, [this] {
        OnApply();
        accept();
    });
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(m_pApply, &QPushButton::clicked, this, &COptions::OnApply);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_pTabs);
    layout->addWidget(buttons);
    layout->setSizeConstraint(QLayout::SetFixedSize);

    connect(m_pTabs, &QTabWidget::currentChanged, this, &COptions::OnTabChanged);
    OnTabChanged(m_pTabs->currentIndex());
}

void COptions::OnTabChanged(int index) {
    if (index >= 0) {
        m_pages[static_cast<std::size_t>(index)]->Activate();
    }
}

void COptions::SetActivePage(COptionsPage* page) {
    m_pTabs->setCurrentWidget(page);
}

void COptions::OnApply() {
    for (COptionsPage* page : m_pages) {
        if (page->Opened()) {
            page->OnOK();
            page->SetModified(false);
        }
    }
}
