#pragma once

#include <QDialog>
#include <QString>
#include <vector>

#include "console/FolderBrowser.h"

class QComboBox;
class QLineEdit;
class QListWidget;

// Picks a folder: mounted volumes above, the current folder's subfolders below.
class CFolderDlg : public QDialog {
    Q_OBJECT
  public:
    explicit CFolderDlg(QWidget* parent = nullptr);

    QString m_strPath;
    int exec() override;
    // Opens the folder state as the dialog does when it is shown.
    void OnInitDialog();

    QComboBox* Drives() const { return m_pDrives; }
    QListWidget* Folders() const { return m_pFolders; }
    void OpenEntry(int row);

  private:
    void ListFolders();
    void OnDriveSelected(int index);

    std::vector<Volume> m_volumes;
    QComboBox* m_pDrives;
    QListWidget* m_pFolders;
    QLineEdit* m_pPath;
};
