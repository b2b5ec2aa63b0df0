#include "console/qt/OtherPage.h"

#include <QCheckBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QRegularExpressionValidator>
#include <QVBoxLayout>

#include "server/ServerApp.h"

namespace {

QLineEdit* DigitsField(const char* caption, QWidget* page, QLayout* row) {
    auto* group = new QGroupBox(caption, page);
    auto* layout = new QHBoxLayout(group);
    auto* edit = new QLineEdit(group);
    edit->setValidator(new QRegularExpressionValidator(QRegularExpression("[0-9]*"), edit));
    layout->addWidget(edit);
    row->addWidget(group);
    return edit;
}

}  // namespace

COther::COther(CServerApp& app, int nAddressCount, COptions* sheet)
    : COptionsPage(app, "Options", sheet) {
    m_values.Load(app, nAddressCount);
    auto* layout = new QVBoxLayout(this);
    auto* fields = new QHBoxLayout();
    m_pPort = DigitsField("Use Port ", this, fields);
    m_pTimeout = DigitsField("Timeout", this, fields);
    layout->addLayout(fields);
    connect(m_pPort, &QLineEdit::textEdited, this, [this] { SetModified(); });
    connect(m_pTimeout, &QLineEdit::textEdited, this, [this] { SetModified(); });

    auto* grid = new QGridLayout();
    const auto add = [this, grid](const char* caption, int row, int column) {
        auto* box = new QCheckBox(caption, this);
        grid->addWidget(box, row, column);
        connect(box, &QCheckBox::clicked, this, [this] { SetModified(); });
        return box;
    };
    m_pSkipRetry = add("Skip Retry", 0, 0);
    m_pMultihomed = add("Do not show multihomed request box", 1, 0);
    m_boxes = {{add("Show alert box when minimised", 2, 0), &OtherPageValues::bShowAlert},
               {add("Allow tSize option request", 3, 0), &OtherPageValues::bAllowTsize},
               {add("Allow timeout option request", 4, 0), &OtherPageValues::bAllowTimeout},
               {add("Disable splash at startup", 0, 1), &OtherPageValues::bNoSplash},
               {add("Minimize at startup", 1, 1), &OtherPageValues::bMinimizeAtStartup},
               {add("No Outbound", 2, 1), &OtherPageValues::bNoOutbound},
               {add("No Incoming", 3, 1), &OtherPageValues::bNoIncoming},
               {add("Prevent AutoRe-Start", 5, 1), &OtherPageValues::bPreventAutoRestart}};
    m_pUseTaskbar = add("Use Taskbar", 4, 1);
    layout->addLayout(grid);
    layout->addStretch(1);
}

void COther::OnInitDialog() {
    m_pPort->setText(QString::fromStdString(m_values.Port));
    m_pTimeout->setText(QString::fromStdString(m_values.Timeout));
    m_pSkipRetry->setChecked(m_values.bSkipRetry != 0);
    m_pMultihomed->setChecked(m_values.bDontShowMultihomed != 0);
    m_pMultihomed->setEnabled(m_values.bMultihomedEnabled);
    m_pUseTaskbar->setChecked(m_values.bUseTaskbar != 0);
    for (const Box& b : m_boxes) {
        b.box->setChecked(m_values.*b.flag != 0);
    }
}

void COther::OnOK() {
    m_values.Port = m_pPort->text().toStdString();
    m_values.Timeout = m_pTimeout->text().toStdString();
    m_values.bSkipRetry = m_pSkipRetry->isChecked() ? 1 : 0;
    m_values.bDontShowMultihomed = m_pMultihomed->isChecked() ? 1 : 0;
    m_values.bUseTaskbar = m_pUseTaskbar->isChecked() ? 1 : 0;
    for (const Box& b : m_boxes) {
        m_values.*b.flag = b.box->isChecked() ? 1 : 0;
    }
    m_values.Store(m_app);
    // "Minimize at startup" may have turned the splash off.
    OnInitDialog();
}
