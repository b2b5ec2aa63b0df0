#pragma once

#include "console/ServerPages.h"
#include "console/qt/OptionsPage.h"

class QCheckBox;
class QLineEdit;
class QPushButton;
class QVBoxLayout;

// What the inbound and outbound pages share: the directory in a group box with "Browse", which
// the command line's directory disables.
class CDirectoryPage : public COptionsPage {
    Q_OBJECT
  public:
    CDirectoryPage(CServerApp& app, bool bInbound, COptions* sheet);

    void OnOK() override;

    QLineEdit* PathEdit() const { return m_pPath; }
    QPushButton* BrowseButton() const { return m_pBrowse; }

  protected:
    void OnInitDialog() override;
    // The page's own check boxes, to and from the values.
    virtual void ShowBoxes() = 0;
    virtual void TakeBoxes() = 0;
    QCheckBox* AddBox(const char* caption, bool bMarksModified = true);
    void OnBrowse();

    DirectoryPageValues m_values;
    QVBoxLayout* m_pLayout;
    QLineEdit* m_pPath;
    QPushButton* m_pBrowse;
};

class CInboundPage : public CDirectoryPage {
    Q_OBJECT
  public:
    CInboundPage(CServerApp& app, COptions* sheet);

  protected:
    void ShowBoxes() override;
    void TakeBoxes() override;

  private:
    void ShowDuplicates();

    QCheckBox* m_pInboundPaths;
    QCheckBox* m_pCreatePaths;
    QCheckBox* m_pRename;
    QCheckBox* m_pExisting;
    QCheckBox* m_pReject;
};

class COutboundPage : public CDirectoryPage {
    Q_OBJECT
  public:
    COutboundPage(CServerApp& app, COptions* sheet);

  protected:
    void ShowBoxes() override;
    void TakeBoxes() override;

  private:
    QCheckBox* m_pOutboundPaths;
    QCheckBox* m_pDeleteAfterSend;
    QCheckBox* m_pForce;
    QLineEdit* m_pForceFile;
};
