#pragma once

#include <QDialog>

#include "extras/VersionCheck.h"

class QPlainTextEdit;
class QProgressBar;
class QPushButton;

// "Version Check": shows the lines, the button and the bar that the check decides on.
class CVersionDlg : public QDialog, public VersionView {
    Q_OBJECT
  public:
    CVersionDlg(EventLoop& loop, const CSettings& settings, QWidget* parent = nullptr);

    // Starts the check, then runs the dialog until "Cancel".
    int exec() override;

    void AddProgressText(const std::string& text) override;
    void EnableDownload(bool bEnable) override;
    void ShowProgress(std::uint32_t nRange) override;
    void SetProgress(std::uint32_t nPos) override;
    bool AskYesNo(const std::string& question) override;
    void ShowInformation(const std::string& text) override;

    QPlainTextEdit* Edit() const { return m_Edit; }
    QPushButton* DownloadButton() const { return m_pDownload; }
    QProgressBar* Progress() const { return m_Progress; }

  private:
    QPlainTextEdit* m_Edit;
    QProgressBar* m_Progress;
    QPushButton* m_pDownload;
    CVersionCheck m_check;
};
