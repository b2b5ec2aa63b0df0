#include "extras/VersionCheck.h"

#include <unistd.h>

#include <cctype>
#include <cstdlib>

#include "settings/ConfigFiles.h"
#include "settings/Settings.h"

namespace {

bool IsDigit(char c) {
    return std::isdigit(static_cast<unsigned char>(c)) != 0;
}

// The digits around the last dot as one decimal fraction; 0.0 without a dot.
double VersionValue(const std::string& text) {
    double value = 0.0;
    const auto dot = text.rfind('.');
    if (dot == std::string::npos) {
        return value;
    }
    double place = 1.0;
    for (auto i = dot; i > 0 && IsDigit(text[i - 1]); --i, place *= 10.0) {
        value += (text[i - 1] - '0') * place;
    }
    place = 0.1;
    for (auto i = dot + 1; i < text.size() && IsDigit(text[i]); ++i, place /= 10.0) {
        value += (text[i] - '0') * place;
    }
    return value;
}

}  // namespace

UpdateServer TheUpdateServer() {
    const char* env = std::getenv("QUAYLON_UPDATE_SERVER");
    if (env == nullptr || *env == '\0') {
        return {kUpdateServerName, 80};
    }
    const std::string text = env;
    const auto colon = text.rfind(':');
    if (colon == std::string::npos) {
        return {text, 80};
    }
    unsigned long port = 0;
    for (auto i = colon + 1; i < text.size() && IsDigit(text[i]) && port <= 65535; ++i) {
        port = port * 10 + static_cast<unsigned long>(text[i] - '0');
    }
    return {text.substr(0, colon),
            static_cast<unsigned short>(port == 0 || port > 65535 ? 80 : port)};
}

bool IsNewerVersion(const std::string& running, const std::string& latest) {
    return VersionValue(running) < VersionValue(latest);
}

std::string DownloadDirectory(const CSettings& settings) {
    const std::string& app = settings.m_AppPath;
    const auto slash = app.rfind('/');
    if (slash == std::string::npos) {
        return app;
    }
    const std::string directory = app.substr(0, slash + 1);
    if (access(directory.c_str(), W_OK) == 0 || settings.m_ConfigDir.empty() ||
        !MakeDirectories(settings.m_ConfigDir)) {
        return directory;
    }
    return settings.m_ConfigDir + "/";
}

CVersionCheck::CVersionCheck(EventLoop& loop, VersionView& view, const CSettings& settings)
    : m_loop(loop), m_view(view), m_settings(settings) {}

CVersionCheck::~CVersionCheck() = default;

void CVersionCheck::OnInitDialog() {
    m_pSocket = std::make_unique<CVersionSocket>(m_loop, *this, TheUpdateServer(),
                                                 DownloadDirectory(m_settings));
    Connect();
}

void CVersionCheck::Connect() {
    if (!m_pSocket->ConnectToServer()) {
        m_view.AddProgressText("Error " + std::to_string(m_pSocket->LastError()) +
                               " connecting to server");
        m_view.AddProgressText("Please try again later");
        return;
    }
    m_view.AddProgressText("Attempting connection to server ...");
    if (m_pSocket->m_nPhase == 1) {
        m_view.ShowProgress(m_nSize);
    }
}

void CVersionCheck::OnDownload() {
    m_pSocket.reset();
    m_pSocket = std::make_unique<CVersionSocket>(m_loop, *this, TheUpdateServer(),
                                                 DownloadDirectory(m_settings));
    m_pSocket->m_szRequest = m_strRequest;
    m_pSocket->m_nExpected = m_nSize;
    m_pSocket->m_nPhase = 1;
    Connect();
    // A further try takes a new run of the dialog.
    m_view.EnableDownload(false);
}

void CVersionCheck::OnVersionStatus(VersionStatusCode code, const std::string& text) {
    switch (code) {
        case VERSION_TEXT:
        case VERSION_ERROR:
            m_view.AddProgressText(text);
            break;
        case VERSION_KNOWN:
            m_strRequest = m_pSocket->m_szRequest;
            m_nSize = m_pSocket->m_nExpected;
            if (IsNewerVersion(kRunningVersion, m_pSocket->m_strVersion)) {
                m_view.EnableDownload(true);
            }
            break;
        case VERSION_FILE_DONE:
            m_view.AddProgressText(text);
            AskInstall();
            break;
    }
}

void CVersionCheck::OnDownloadProgress(std::uint32_t nReceived) {
    m_view.SetProgress(nReceived);
}

void CVersionCheck::AskInstall() {
    const std::string directory = DownloadDirectory(m_settings);
    if (m_view.AskYesNo("Do you want to install the new version now ?")) {
        // Written unless bPreventAutoRestart says no; the closing text is shown either way.
        m_settings.WriteRunOnce(directory + "NewQuaylon.exe");
        m_view.ShowInformation(
            "Please close Quaylon and then close Windows to install the new software");
    } else {
        m_view.ShowInformation("The latest version is called NewQuaylon.exe and\nis located at " +
                               directory);
    }
}
