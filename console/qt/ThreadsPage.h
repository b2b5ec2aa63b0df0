#pragma once

#include "console/qt/OptionsPage.h"

class QCheckBox;
class QLineEdit;
class QRadioButton;

// The "MultiThreading && Logging" page: the priorities and the log file.
class CThreadsPage : public COptionsPage {
    Q_OBJECT
  public:
    CThreadsPage(CServerApp& app, COptions* sheet);

    void OnOK() override;

    QRadioButton* Mode(int mode) const { return m_pModes[mode]; }
    QLineEdit* LogFileEdit() const { return m_pLogFile; }

  protected:
    void OnInitDialog() override;

  private:
    QCheckBox* m_pRaise;
    QRadioButton* m_pModes[4];
    QLineEdit* m_pLogFile;
};
