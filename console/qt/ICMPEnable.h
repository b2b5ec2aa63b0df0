#pragma once

#include <vector>

#include "console/qt/OptionsPage.h"

class QCheckBox;

// The "ICMP Messages" page: which ICMP message types the report shows.
class CICMPEnable : public COptionsPage {
    Q_OBJECT
  public:
    CICMPEnable(CServerApp& app, COptions* sheet);

    void OnOK() override;

    const std::vector<QCheckBox*>& Boxes() const { return m_boxes; }

  protected:
    void OnInitDialog() override;

  private:
    std::vector<QCheckBox*> m_boxes;  // in the order of kIcmpBoxes
};
