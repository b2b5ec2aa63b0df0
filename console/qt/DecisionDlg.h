#pragma once

#include <QDialog>

class CDecisionBox;

// The window of an "Executive decision time ..." box: modeless, centred, no close box.
class CDecisionDlg : public QDialog {
    Q_OBJECT
  public:
    CDecisionDlg(CDecisionBox& box, QWidget* parent = nullptr);

    void accept() override;  // "Drop Clients"
    void reject() override;  // "Keep Clients"

  private:
    CDecisionBox& m_box;
};
