#pragma once

#include <QDialog>
#include <string>
#include <vector>

class QCheckBox;
class QListWidget;

// Asks which of the host's addresses to serve on.
class CMultihomedDlg : public QDialog {
    Q_OBJECT
  public:
    CMultihomedDlg(const std::vector<std::string>* pAddresses, QWidget* parent = nullptr);

    int m_nIndex = 0;
    const std::vector<std::string>* m_pAddresses;
    int m_bDontShow = 0;

    int exec() override;
    void accept() override;

    QListWidget* List() const { return m_pList; }
    QCheckBox* Check() const { return m_pCheck; }

  private:
    QListWidget* m_pList;
    QCheckBox* m_pCheck;
};
