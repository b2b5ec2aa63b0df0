#include "console/qt/FolderDlg.h"

#include <unistd.h>

#include <QComboBox>
#include <QDialogButtonBox>
#include <QGuiApplication>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QVBoxLayout>
#include <climits>

#include "console/qt/DialogFrame.h"

CFolderDlg::CFolderDlg(QWidget* parent) : QDialog(parent) {
    UseDialogFrame(this, "Folder Browser", true);
    auto* layout = new QVBoxLayout(this);
    m_pDrives = new QComboBox(this);
    m_pFolders = new QListWidget(this);
    m_pPath = new QLineEdit(this);
    m_pPath->setReadOnly(true);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(m_pFolders, &QListWidget::itemDoubleClicked, this,
            [this](QListWidgetItem* item) { OpenEntry(m_pFolders->row(item)); });
    connect(m_pDrives, qOverload<int>(&QComboBox::activated), this, &CFolderDlg::OnDriveSelected);
    layout->addWidget(m_pDrives);
    layout->addWidget(m_pFolders);
    layout->addWidget(m_pPath);
    layout->addWidget(buttons);
    resize(460, 320);
}

int CFolderDlg::exec() {
    OnInitDialog();
    return QDialog::exec();
}

void CFolderDlg::OnInitDialog() {
    QGuiApplication::setOverrideCursor(Qt::WaitCursor);
    m_strPath = QString::fromStdString(CutToFolder(m_strPath.toStdString()));
    m_volumes = MountedVolumes();
    m_pDrives->clear();
    for (const Volume& volume : m_volumes) {
        m_pDrives->addItem(QString::fromStdString(volume.Entry()));
    }
    int selected = m_strPath.isEmpty() ? -1 : VolumeOf(m_volumes, m_strPath.toStdString());
    if (selected < 0 || m_strPath.isEmpty()) {
        // No usable path: open on the current directory and its volume.
        char cwd[PATH_MAX] = "/";
        if (getcwd(cwd, sizeof cwd) == nullptr) {
            cwd[0] = '/';
            cwd[1] = '\0';
        }
        m_strPath = QString(cwd);
        if (!m_strPath.endsWith('/')) {
            m_strPath += '/';
        }
        selected = VolumeOf(m_volumes, m_strPath.toStdString());
    }
    m_pDrives->setCurrentIndex(selected);
    ListFolders();
    QGuiApplication::restoreOverrideCursor();
}

void CFolderDlg::ListFolders() {
    m_pFolders->clear();
    for (const std::string& entry : FolderEntries(m_strPath.toStdString())) {
        m_pFolders->addItem(QString::fromStdString(entry));
    }
    m_pPath->setText(m_strPath);
}

void CFolderDlg::OpenEntry(int row) {
    if (row < 0 || row >= m_pFolders->count()) {
        return;
    }
    const QString entry = m_pFolders->item(row)->text();
    if (entry == "[..]") {
        m_strPath = QString::fromStdString(ParentFolder(m_strPath.toStdString()));
    } else {
        m_strPath += entry + '/';
    }
    ListFolders();
}

void CFolderDlg::OnDriveSelected(int index) {
    if (index < 0 || index >= static_cast<int>(m_volumes.size())) {
        return;
    }
    m_strPath = QString::fromStdString(m_volumes[static_cast<std::size_t>(index)].root);
    ListFolders();
}
