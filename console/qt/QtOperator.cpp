#include "console/qt/QtOperator.h"

#include <QGuiApplication>
#include <QMessageBox>
#include <QScreen>

#include "console/qt/DecisionDlg.h"
#include "console/qt/ListenAddressDlg.h"
#include "console/qt/MultihomedDlg.h"

void QtOperator::ShowMessage(const std::string& text, BoxIcon icon) {
    QMessageBox box(
        icon == BoxIcon::Information
            ? QMessageBox::Information
            : (icon == BoxIcon::Question ? QMessageBox::Question : QMessageBox::Warning),
        "Quaylon", QString::fromStdString(text), QMessageBox::Ok, m_pParent);
    box.exec();
}

bool QtOperator::AskYesNo(const std::string& text) {
    QMessageBox box(QMessageBox::Question, "Quaylon", QString::fromStdString(text),
                    QMessageBox::Yes | QMessageBox::No, m_pParent);
    return box.exec() == QMessageBox::Yes;
}

Operator::MultihomedChoice QtOperator::ChooseAddress(const std::vector<std::string>& addresses,
                                                     bool bDontShowAgain) {
    CMultihomedDlg dialog(&addresses, m_pParent);
    dialog.m_bDontShow = bDontShowAgain ? 1 : 0;
    MultihomedChoice choice;
    choice.bOk = dialog.exec() == QDialog::Accepted;
    choice.nSelected = dialog.m_nIndex;
    choice.bDontShowAgain = dialog.m_bDontShow != 0;
    return choice;
}

std::optional<std::string> QtOperator::AskListenAddress() {
    CListenAddressDlg dialog(m_pParent);
    if (dialog.exec() != QDialog::Accepted) {
        return std::nullopt;
    }
    return dialog.m_strAddress.toStdString();
}

void QtOperator::ShowDecisionBox(CDecisionBox& box) {
    QPointer<CDecisionDlg>& dialog = m_dialogs[&box];
    if (!dialog) {
        // No parent: the box stands on its own, centred on the screen.
        dialog = new CDecisionDlg(box);
        dialog->adjustSize();
        if (const QScreen* screen = QGuiApplication::primaryScreen()) {
            dialog->move(screen->availableGeometry().center() - dialog->rect().center());
        }
    }
    dialog->show();
    dialog->raise();
    dialog->activateWindow();
}

void QtOperator::DestroyDecisionBox(CDecisionBox& box) {
    auto it = m_dialogs.find(&box);
    if (it == m_dialogs.end()) {
        return;
    }
    if (it->second) {
        // The box may be answering from inside its own button: let Qt finish first.
        it->second->hide();
        it->second->deleteLater();
    }
    m_dialogs.erase(it);
}

CDecisionDlg* QtOperator::DialogOf(const CDecisionBox& box) const {
    auto it = m_dialogs.find(&box);
    return it == m_dialogs.end() ? nullptr : it->second.data();
}
