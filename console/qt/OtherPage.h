#pragma once

#include "console/ServerPages.h"
#include "console/qt/OptionsPage.h"

class QCheckBox;
class QLineEdit;

// The "Options" page: port, time-out and the server's switches.
class COther : public COptionsPage {
    Q_OBJECT
  public:
    // nAddressCount: the host's addresses as the listening socket found them.
    COther(CServerApp& app, int nAddressCount, COptions* sheet);

    void OnOK() override;

    QLineEdit* PortEdit() const { return m_pPort; }
    QLineEdit* TimeoutEdit() const { return m_pTimeout; }

  protected:
    void OnInitDialog() override;

  private:
    struct Box {
        QCheckBox* box;
        std::uint32_t OtherPageValues::*flag;
    };

    OtherPageValues m_values;
    QLineEdit* m_pPort;
    QLineEdit* m_pTimeout;
    QCheckBox* m_pMultihomed;
    QCheckBox* m_pUseTaskbar;
    QCheckBox* m_pSkipRetry;
    std::vector<Box> m_boxes;
};
