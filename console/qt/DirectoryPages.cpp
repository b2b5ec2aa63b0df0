#include "console/qt/DirectoryPages.h"

#include <QCheckBox>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

#include "console/qt/FolderDlg.h"
#include "console/qt/Options.h"
#include "server/ServerApp.h"

CDirectoryPage::CDirectoryPage(CServerApp& app, bool bInbound, COptions* sheet)
    : COptionsPage(app, bInbound ? "Inbound" : "Outbound", sheet) {
    m_values.Load(app, bInbound);
    m_pLayout = new QVBoxLayout(this);
    auto* group = new QGroupBox(bInbound ? "Inbound file path" : "Outbound file path", this);
    auto* row = new QHBoxLayout(group);
    m_pPath = new QLineEdit(group);
    m_pPath->setMinimumWidth(m_pPath->fontMetrics().averageCharWidth() * 40);
    m_pBrowse = new QPushButton("Browse", group);
    row->addWidget(m_pPath, 1);
    row->addWidget(m_pBrowse);
    m_pLayout->addWidget(group);
    connect(m_pPath, &QLineEdit::textEdited, this, [this] { SetModified(); });
    connect(m_pBrowse, &QPushButton::clicked, this, &CDirectoryPage::OnBrowse);
}

QCheckBox* CDirectoryPage::AddBox(const char* caption, bool bMarksModified) {
    auto* box = new QCheckBox(caption, this);
    m_pLayout->addWidget(box);
    if (bMarksModified) {
        connect(box, &QCheckBox::clicked, this, [this] { SetModified(); });
    }
    return box;
}

void CDirectoryPage::OnInitDialog() {
    m_pPath->setText(QString::fromStdString(m_values.path));
    m_pPath->setEnabled(m_values.bPathEnabled);
    m_pBrowse->setEnabled(m_values.bPathEnabled);
    ShowBoxes();
}

void CDirectoryPage::OnOK() {
    m_values.path = m_pPath->text().toStdString();
    TakeBoxes();
    if (!m_values.Store(m_app)) {
        Sheet().SetActivePage(this);
    }
}

void CDirectoryPage::OnBrowse() {
    CFolderDlg dialog(this);
    dialog.m_strPath = m_pPath->text();
    if (dialog.exec() == QDialog::Accepted) {
        m_pPath->setText(dialog.m_strPath);
        SetModified();
    }
}

CInboundPage::CInboundPage(CServerApp& app, COptions* sheet) : CDirectoryPage(app, true, sheet) {
    m_pInboundPaths = AddBox("Allow Inbound Paths", false);
    m_pCreatePaths = AddBox("Create paths as needed", false);
    m_pRename = AddBox("Rename duplicate files");
    m_pExisting = AddBox("Rename Existing");
    m_pReject = AddBox("Reject Duplicate Files");
    m_pLayout->addStretch(1);
    connect(m_pRename, &QCheckBox::clicked, this, [this] {
        TakeBoxes();
        m_values.duplicates.OnClickRename();
        ShowDuplicates();
    });
    connect(m_pExisting, &QCheckBox::clicked, this, [this] {
        TakeBoxes();
        m_values.duplicates.OnClickExisting();
        ShowDuplicates();
    });
    connect(m_pReject, &QCheckBox::clicked, this, [this] {
        TakeBoxes();
        m_values.duplicates.OnClickReject();
        ShowDuplicates();
    });
}

void CInboundPage::ShowBoxes() {
    m_pInboundPaths->setChecked(m_values.bInboundPaths != 0);
    m_pCreatePaths->setChecked(m_values.bCreatePaths != 0);
    ShowDuplicates();
}

void CInboundPage::ShowDuplicates() {
    const DuplicateBoxes& d = m_values.duplicates;
    m_pRename->setChecked(d.bRename);
    m_pExisting->setChecked(d.bExisting);
    m_pExisting->setEnabled(d.bExistingEnabled);
    m_pReject->setChecked(d.bReject);
}

void CInboundPage::TakeBoxes() {
    m_values.bInboundPaths = m_pInboundPaths->isChecked() ? 1 : 0;
    m_values.bCreatePaths = m_pCreatePaths->isChecked() ? 1 : 0;
    m_values.duplicates.bRename = m_pRename->isChecked();
    m_values.duplicates.bExisting = m_pExisting->isChecked();
    m_values.duplicates.bReject = m_pReject->isChecked();
}

COutboundPage::COutboundPage(CServerApp& app, COptions* sheet) : CDirectoryPage(app, false, sheet) {
    m_pOutboundPaths = AddBox("Enable Paths");
    m_pDeleteAfterSend = AddBox("Delete after sending");
    m_pForce = AddBox("Only Send This File");
    m_pForceFile = new QLineEdit(this);
    m_pLayout->addWidget(m_pForceFile);
    m_pLayout->addStretch(1);
    connect(m_pForceFile, &QLineEdit::textEdited, this, [this] { SetModified(); });
}

void COutboundPage::ShowBoxes() {
    m_pOutboundPaths->setChecked(m_values.bOutboundPaths != 0);
    m_pDeleteAfterSend->setChecked(m_values.bDeleteAfterSend != 0);
    m_pForce->setChecked(m_values.bForce != 0);
    m_pForceFile->setText(QString::fromStdString(m_values.ForceFile));
}

void COutboundPage::TakeBoxes() {
    m_values.bOutboundPaths = m_pOutboundPaths->isChecked() ? 1 : 0;
    m_values.bDeleteAfterSend = m_pDeleteAfterSend->isChecked() ? 1 : 0;
    m_values.bForce = m_pForce->isChecked() ? 1 : 0;
    m_values.ForceFile = m_pForceFile->text().toStdString();
}
