#pragma once

#include <QDialog>

class QTabWidget;

// The modeless "About Quaylon" sheet: a Contact page and a Version page, opening on Version.
class CAbout : public QDialog {
    Q_OBJECT
  public:
    CAbout();
    QTabWidget* Pages() const { return m_pPages; }

  private:
    QTabWidget* m_pPages;
};
