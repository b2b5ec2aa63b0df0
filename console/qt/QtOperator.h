#pragma once

#include <QPointer>
#include <map>

#include "platform/Operator.h"

class CDecisionDlg;
class QWidget;

// The operator at the window: Qt message boxes and the program's dialogs.
class QtOperator : public Operator {
  public:
    void SetParent(QWidget* parent) { m_pParent = parent; }

    void ShowMessage(const std::string& text, BoxIcon icon) override;
    bool AskYesNo(const std::string& text) override;
    MultihomedChoice ChooseAddress(const std::vector<std::string>& addresses,
                                   bool bDontShowAgain) override;
    std::optional<std::string> AskListenAddress() override;
    void ShowDecisionBox(CDecisionBox& box) override;
    void DestroyDecisionBox(CDecisionBox& box) override;

    CDecisionDlg* DialogOf(const CDecisionBox& box) const;

  private:
    QPointer<QWidget> m_pParent;
    std::map<const CDecisionBox*, QPointer<CDecisionDlg>> m_dialogs;
};
