#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

#include "platform/StreamSocket.h"

// What the socket tells its dialog as the exchange goes on.
enum VersionStatusCode {
    VERSION_TEXT = 0,       // a line of progress text
    VERSION_KNOWN = 1,      // the version page has been read
    VERSION_ERROR = 2,      // a line that tells a failure
    VERSION_FILE_DONE = 3,  // a line, then the install question
};

class VersionStatusTarget {
  public:
    virtual ~VersionStatusTarget() = default;
    virtual void OnVersionStatus(VersionStatusCode code, const std::string& text) = 0;
    // While downloading: the bytes received so far, header included.
    virtual void OnDownloadProgress(std::uint32_t nReceived) = 0;
};

// Where the version page and the new program come from.
struct UpdateServer {
    std::string host;
    unsigned short port = 80;
};

// The hand-made HTTP exchange with the update server: in phase 0 it reads the version page, in
// phase 1 it downloads the new program beside the running one.
class CVersionSocket : public CStreamSocket {
  public:
    static constexpr std::size_t kTextSize = 1024;
    static constexpr std::size_t kBufferSize = 8192;
    static constexpr std::size_t kRequestSize = 1024;

    // directory: where the download lands, ending in "/" unless it is to be appended to as is.
    CVersionSocket(EventLoop& loop, VersionStatusTarget& dlg, UpdateServer server,
                   std::string directory);

    // True when the connection is made or under way; LastError() tells why not.
    bool ConnectToServer();

    void OnConnect(int nErrorCode) override;
    void OnReceive(int nErrorCode) override;
    void OnClose(int nErrorCode) override;

    void ParseVersionPage();
    // Cuts the header off the temporary file into the new program; its size, or 0.
    std::uint32_t ExtractDownload();

    std::string m_szRequest;
    int m_nPhase = 0;
    std::string m_strVersion;
    std::string m_strFileName;
    std::uint32_t m_nExpected = 0;

  private:
    struct FileCloser {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    void Status(VersionStatusCode code, const std::string& text);
    void FinishDownload();

    VersionStatusTarget& m_dlg;
    UpdateServer m_server;
    std::string m_directory;
    char m_Buffer[kBufferSize] = {};
    std::uint32_t m_nBuffered = 0;
    std::uint32_t m_nReceived = 0;
    // Phase 1 from the connect on. A file that could not be created is a null pointer here
    // while m_bFile still says the download is under way.
    std::unique_ptr<std::FILE, FileCloser> m_pFile;
    bool m_bFile = false;
};

// The text as one line of the dialog may hold it.
std::string FitLine(const std::string& text);
