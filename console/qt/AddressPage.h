#pragma once

#include <QWidget>

#include "console/FilterPages.h"
#include "console/qt/OptionsPage.h"

class QCheckBox;
class QLineEdit;
class QListWidget;
class QPushButton;

// Four fields of 0 to 255 with dots between; a blank field reads as 0.
class AddressEntry : public QWidget {
    Q_OBJECT
  public:
    explicit AddressEntry(QWidget* parent);
    void Fields(unsigned fields[4]) const;
    QLineEdit* Field(int i) const { return m_pFields[i]; }

  private:
    QLineEdit* m_pFields[4];
};

// The allow or deny page: its switch, its rules, and an entry to add one.
class CAddressPage : public COptionsPage {
    Q_OBJECT
  public:
    CAddressPage(CServerApp& app, bool bDeny, COptions* sheet);

    void OnOK() override;
    void OnAdd();
    void OnRemove();

    QCheckBox* Switch() const { return m_pSwitch; }
    QListWidget* Rules() const { return m_pList; }
    AddressEntry* Entry() const { return m_pEntry; }

  protected:
    void OnInitDialog() override;

  private:
    AddressPageValues m_values;
    QCheckBox* m_pSwitch;
    QListWidget* m_pList;
    AddressEntry* m_pEntry;
};

class CAllow : public CAddressPage {
    Q_OBJECT
  public:
    CAllow(CServerApp& app, COptions* sheet) : CAddressPage(app, false, sheet) {}
};

class CDeny : public CAddressPage {
    Q_OBJECT
  public:
    CDeny(CServerApp& app, COptions* sheet) : CAddressPage(app, true, sheet) {}
};
