#include "console/qt/AddressPage.h"

#include <QCheckBox>
#include <QHBoxLayout>
#include <QIntValidator>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>

#include "platform/Operator.h"
#include "server/ServerApp.h"

AddressEntry::AddressEntry(QWidget* parent) : QWidget(parent) {
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(2);
    for (int i = 0; i < 4; ++i) {
        if (i > 0) {
            layout->addWidget(new QLabel(".", this));
        }
        m_pFields[i] = new QLineEdit(this);
        m_pFields[i]->setValidator(new QIntValidator(0, 255, m_pFields[i]));
        m_pFields[i]->setMaxLength(3);
        m_pFields[i]->setAlignment(Qt::AlignCenter);
        m_pFields[i]->setFixedWidth(m_pFields[i]->fontMetrics().horizontalAdvance("0000") +
                                    m_pFields[i]->fontMetrics().averageCharWidth() * 2);
        layout->addWidget(m_pFields[i]);
    }
    layout->addStretch(1);
}

void AddressEntry::Fields(unsigned fields[4]) const {
    for (int i = 0; i < 4; ++i) {
        fields[i] = m_pFields[i]->text().toUInt();
    }
}

CAddressPage::CAddressPage(CServerApp& app, bool bDeny, COptions* sheet)
    : COptionsPage(app, bDeny ? "Deny" : "Allow", sheet) {
    m_values.Load(app, bDeny);
    auto* layout = new QVBoxLayout(this);
    m_pSwitch = new QCheckBox(
        bDeny ? "Do not allow these connections" : "Only allow these connections", this);
    m_pList = new QListWidget(this);
    m_pList->setSelectionMode(QAbstractItemView::SingleSelection);
    m_pEntry = new AddressEntry(this);
    auto* add = new QPushButton("Add", this);
    auto* remove = new QPushButton("Remove", this);
    auto* row = new QHBoxLayout();
    row->addWidget(m_pEntry, 1);
    row->addWidget(add);
    row->addWidget(remove);
    layout->addWidget(m_pSwitch);
    layout->addWidget(m_pList, 1);
    layout->addLayout(row);
    connect(m_pSwitch, &QCheckBox::clicked, this, [this] { SetModified(); });
    connect(add, &QPushButton::clicked, this, &CAddressPage::OnAdd);
    connect(remove, &QPushButton::clicked, this, &CAddressPage::OnRemove);
}

void CAddressPage::OnInitDialog() {
    m_pSwitch->setChecked(m_values.bOn != 0);
    for (const std::string& line : m_values.lines) {
        m_pList->addItem(QString::fromStdString(line));
    }
}

void CAddressPage::OnAdd() {
    unsigned fields[4];
    m_pEntry->Fields(fields);
    if (!m_values.Add(fields)) {
        m_app.Op().ShowMessage("Entry already exists", BoxIcon::Exclamation);
        return;
    }
    m_pList->addItem(QString::fromStdString(m_values.lines.back()));
    SetModified();
}

void CAddressPage::OnRemove() {
    const int line = m_pList->selectedItems().isEmpty() ? -1 : m_pList->currentRow();
    if (m_values.Remove(line)) {
        SetModified();
        delete m_pList->takeItem(line);
    }
}

void CAddressPage::OnOK() {
    m_values.bOn = m_pSwitch->isChecked() ? 1 : 0;
    m_values.Store(m_app);
}
