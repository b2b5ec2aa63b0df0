#pragma once

#include <QWidget>

class COptions;
class CServerApp;

// One tab of the options sheet. It is live only once opened: then it has shown its values, and
// every OK or Apply of the sheet runs its OnOK.
class COptionsPage : public QWidget {
    Q_OBJECT
  public:
    COptionsPage(CServerApp& app, const QString& caption, COptions* sheet);

    const QString& Caption() const { return m_caption; }
    bool Opened() const { return m_bOpened; }
    bool Modified() const { return m_bModified; }

    // The tab has come to the front: the first time, the page shows its values.
    void Activate();
    // Takes the values from the controls and stores them in the server.
    virtual void OnOK() = 0;
    void SetModified(bool bModified = true);

  signals:
    void ModifiedChanged();

  protected:
    virtual void OnInitDialog() = 0;
    COptions& Sheet() const { return m_sheet; }

    CServerApp& m_app;

  private:
    COptions& m_sheet;
    QString m_caption;
    bool m_bOpened = false;
    bool m_bModified = false;
};
