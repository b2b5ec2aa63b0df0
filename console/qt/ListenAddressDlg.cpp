#include "console/qt/ListenAddressDlg.h"

#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QVBoxLayout>

#include "console/qt/DialogFrame.h"

CListenAddressDlg::CListenAddressDlg(QWidget* parent) : QDialog(parent) {
    UseDialogFrame(this, "Listening Address", true);
    auto* layout = new QVBoxLayout(this);
    auto* above = new QLabel(
        "Because either your local host name or I.P. address could not be determined "
        "automatically you now have the chance to enter the I.P. manually.\nThe I.P Address "
        "should be entered in dotted decimal format, i.e. 192.168.0.20",
        this);
    above->setWordWrap(true);
    m_pEdit = new QLineEdit(this);
    auto* form = new QFormLayout();
    form->addRow("Server I.P. Address", m_pEdit);
    auto* below = new QLabel(
        "It should be noted that specifying an unusable address will prevent the server from "
        "operating, you must specify an address that your system recognises, simply entering "
        "any number that comes to mind does not usually work !",
        this);
    below->setWordWrap(true);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    layout->addWidget(above);
    layout->addLayout(form);
    layout->addWidget(below);
    layout->addWidget(buttons);
    // Wrapped texts take the height their width needs, and the box fits them.
    for (QLabel* label : {above, below}) {
        label->setFixedWidth(440);
    }
    layout->setSizeConstraint(QLayout::SetFixedSize);
}

void CListenAddressDlg::accept() {
    m_strAddress = m_pEdit->text().trimmed();
    QDialog::accept();
}
