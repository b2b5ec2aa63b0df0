#include "console/qt/MultihomedDlg.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QLabel>
#include <QListWidget>
#include <QVBoxLayout>

#include "console/qt/DialogFrame.h"

CMultihomedDlg::CMultihomedDlg(const std::vector<std::string>* pAddresses, QWidget* parent)
    : QDialog(parent), m_pAddresses(pAddresses) {
    UseDialogFrame(this, "Multihomed Host - Please select Servers Host Address", true);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(new QLabel("This host has several addresses. Serve on:", this));
    m_pList = new QListWidget(this);
    m_pCheck = new QCheckBox("Do not show this box again", this);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok, this);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(m_pList, &QListWidget::itemDoubleClicked, this, &QDialog::accept);
    layout->addWidget(m_pList);
    layout->addWidget(m_pCheck);
    layout->addWidget(buttons);
    if (m_pAddresses != nullptr) {
        for (const std::string& address : *m_pAddresses) {
            m_pList->addItem(QString::fromStdString(address));
        }
    }
    resize(420, 220);
}

int CMultihomedDlg::exec() {
    m_pCheck->setChecked(m_bDontShow != 0);
    return QDialog::exec();
}

void CMultihomedDlg::accept() {
    m_nIndex = m_pList->currentRow() >= 0 && !m_pList->selectedItems().isEmpty()
                   ? m_pList->currentRow()
                   : 0;
    m_bDontShow = m_pCheck->isChecked() ? 1 : 0;
    QDialog::accept();
}
