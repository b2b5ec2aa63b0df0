#include "console/qt/DecisionDlg.h"

#include <QDialogButtonBox>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

#include "console/qt/DialogFrame.h"
#include "server/DecisionBox.h"

CDecisionDlg::CDecisionDlg(CDecisionBox& box, QWidget* parent) : QDialog(parent), m_box(box) {
    UseDialogFrame(this, CDecisionBox::Caption(), false);
    setModal(false);
    auto* layout = new QVBoxLayout(this);
    for (const std::string& text : box.Texts()) {
        auto* label = new QLabel(QString::fromStdString(text), this);
        label->setWordWrap(true);
        label->setFixedWidth(420);  // wrapped at a known width, so the box fits its height
        layout->addWidget(label);
    }
    auto* buttons = new QDialogButtonBox(this);
    QPushButton* drop = buttons->addButton(CDecisionBox::OkText(), QDialogButtonBox::AcceptRole);
    buttons->addButton(CDecisionBox::CancelText(), QDialogButtonBox::RejectRole);
    drop->setDefault(true);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    layout->addWidget(buttons);
    layout->setSizeConstraint(QLayout::SetFixedSize);
}

// Either answer may destroy this window: nothing of it is touched afterwards.
void CDecisionDlg::accept() {
    m_box.OnOK();
}

void CDecisionDlg::reject() {
    m_box.OnCancel();
}
