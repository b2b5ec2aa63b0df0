#include "console/qt/VersionDlg.h"

#include <QGroupBox>
#include <QHBoxLayout>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QTextCursor>
#include <QVBoxLayout>
#include <algorithm>
#include <limits>

CVersionDlg::CVersionDlg(EventLoop& loop, const CSettings& settings, QWidget* parent)
    : QDialog(parent), m_check(loop, *this, settings) {
    setWindowTitle("Version Check");
    auto* group = new QGroupBox("Progress Messages", this);
    m_Edit = new QPlainTextEdit(group);
    m_Edit->setReadOnly(true);
    auto* groupLayout = new QVBoxLayout(group);
    groupLayout->addWidget(m_Edit);
    m_Progress = new QProgressBar(this);
    m_Progress->setTextVisible(false);
    m_Progress->hide();
    m_pDownload = new QPushButton("Download", this);
    m_pDownload->setEnabled(false);
    auto* cancel = new QPushButton("Cancel", this);
    cancel->setDefault(true);
    auto* buttons = new QHBoxLayout();
    buttons->addStretch();
    buttons->addWidget(m_pDownload);
    buttons->addWidget(cancel);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(group);
    layout->addWidget(m_Progress);
    layout->addLayout(buttons);
    resize(420, 300);
    connect(m_pDownload, &QPushButton::clicked, this, [this] { m_check.OnDownload(); });
    connect(cancel, &QPushButton::clicked, this, &QDialog::accept);
}

int CVersionDlg::exec() {
    m_check.OnInitDialog();
    return QDialog::exec();
}

void CVersionDlg::AddProgressText(const std::string& text) {
    m_Edit->moveCursor(QTextCursor::End);
    m_Edit->insertPlainText(QString::fromStdString(text) + "\n");
    m_Edit->ensureCursorVisible();
}

void CVersionDlg::EnableDownload(bool bEnable) {
    m_pDownload->setEnabled(bEnable);
}

void CVersionDlg::ShowProgress(std::uint32_t nRange) {
    // The bar counts in int: a larger size is shown as the most it can hold.
    constexpr std::uint32_t kMost = std::numeric_limits<int>::max();
    m_Progress->setRange(0, static_cast<int>(std::min(nRange, kMost)));
    m_Progress->setValue(0);
    m_Progress->show();
}

void CVersionDlg::SetProgress(std::uint32_t nPos) {
    constexpr std::uint32_t kMost = std::numeric_limits<int>::max();
    m_Progress->setValue(std::min(static_cast<int>(std::min(nPos, kMost)), m_Progress->maximum()));
}

bool CVersionDlg::AskYesNo(const std::string& question) {
    return QMessageBox::question(this, "Quaylon", QString::fromStdString(question),
                                 QMessageBox::Yes | QMessageBox::No) == QMessageBox::Yes;
}

void CVersionDlg::ShowInformation(const std::string& text) {
    QMessageBox::information(this, "Quaylon", QString::fromStdString(text));
}
