#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "extras/VersionSocket.h"
#include "settings/Version.h"

class CSettings;
class EventLoop;

// The update server's name; QUAYLON_UPDATE_SERVER=host[:port] points the check elsewhere.
inline constexpr char kUpdateServerName[] = "update.orrelin.com";
UpdateServer TheUpdateServer();

// True if the running version reads below the latest: each text is read as a decimal fraction
// around its last dot, so 3.8 equals 3.80 and 3.100 is older than 3.80.
bool IsNewerVersion(const std::string& running, const std::string& latest);

// Where "NewQuaylon.tmp" and "NewQuaylon.exe" go: beside the program, or in the settings
// directory when the program's directory is not the user's to write.
std::string DownloadDirectory(const CSettings& settings);

// What the "Version Check" dialog shows and asks.
class VersionView {
  public:
    virtual ~VersionView() = default;
    // One line in the progress messages.
    virtual void AddProgressText(const std::string& text) = 0;
    virtual void EnableDownload(bool bEnable) = 0;
    // Shows the progress bar with the range 0 to nRange.
    virtual void ShowProgress(std::uint32_t nRange) = 0;
    virtual void SetProgress(std::uint32_t nPos) = 0;
    virtual bool AskYesNo(const std::string& question) = 0;
    virtual void ShowInformation(const std::string& text) = 0;
};

// The dialog's decisions: the exchange with the update server, the download it offers and the
// install question at its end.
class CVersionCheck : public VersionStatusTarget {
  public:
    CVersionCheck(EventLoop& loop, VersionView& view, const CSettings& settings);
    ~CVersionCheck() override;

    // The dialog opens: connect for the version page.
    void OnInitDialog();
    // "Download": a second connection for the file that the page names.
    void OnDownload();

    void OnVersionStatus(VersionStatusCode code, const std::string& text) override;
    void OnDownloadProgress(std::uint32_t nReceived) override;

  private:
    void Connect();
    void AskInstall();

    EventLoop& m_loop;
    VersionView& m_view;
    const CSettings& m_settings;
    std::unique_ptr<CVersionSocket> m_pSocket;
    std::string m_strRequest;
    std::uint32_t m_nSize = 0;
};
