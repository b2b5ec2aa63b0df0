#pragma once

#include <QDialog>
#include <QString>

class QLineEdit;

// Lets the operator type the listening address when the host's own cannot be found.
class CListenAddressDlg : public QDialog {
    Q_OBJECT
  public:
    explicit CListenAddressDlg(QWidget* parent = nullptr);

    QString m_strAddress;
    void accept() override;
    QLineEdit* Edit() const { return m_pEdit; }

  private:
    QLineEdit* m_pEdit;
};
