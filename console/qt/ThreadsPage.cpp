#include "console/qt/ThreadsPage.h"

#include <QCheckBox>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QRadioButton>
#include <QVBoxLayout>

#include "console/ServerPages.h"
#include "server/ServerApp.h"

CThreadsPage::CThreadsPage(CServerApp& app, COptions* sheet)
    : COptionsPage(app, "MultiThreading && Logging", sheet) {
    auto* layout = new QVBoxLayout(this);
    m_pRaise = new QCheckBox("Raise Process Priority", this);
    layout->addWidget(m_pRaise);
    connect(m_pRaise, &QCheckBox::clicked, this, [this] { SetModified(); });

    auto* group = new QGroupBox("Thread Priority Settings", this);
    auto* modes = new QVBoxLayout(group);
    const char* const captions[4] = {"Low", "Normal", "High", "Automatic Priority Changes"};
    for (int mode = 0; mode < 4; ++mode) {
        m_pModes[mode] = new QRadioButton(captions[mode], group);
        modes->addWidget(m_pModes[mode]);
        connect(m_pModes[mode], &QRadioButton::clicked, this, [this] { SetModified(); });
    }
    layout->addWidget(group);

    auto* log = new QGroupBox("Log to file", this);
    auto* row = new QHBoxLayout(log);
    m_pLogFile = new QLineEdit(log);
    row->addWidget(m_pLogFile);
    layout->addWidget(log);
    connect(m_pLogFile, &QLineEdit::textEdited, this, [this] { SetModified(); });
    layout->addStretch(1);
}

void CThreadsPage::OnInitDialog() {
    ThreadsPageValues values;
    values.Load(m_app);
    m_pModes[values.nMode]->setChecked(true);
    m_pLogFile->setText(QString::fromStdString(values.LogFile));
    m_pRaise->setChecked(values.bRaisePriority != 0);
}

void CThreadsPage::OnOK() {
    ThreadsPageValues values;
    values.LogFile = m_pLogFile->text().toStdString();
    values.nMode = m_pModes[1]->isChecked()   ? 1
                   : m_pModes[2]->isChecked() ? 2
                   : m_pModes[3]->isChecked() ? 3
                                              : 0;
    values.bRaisePriority = m_pRaise->isChecked() ? 1 : 0;
    values.Store(m_app);
}
