#include "extras/VersionSocket.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <string_view>

namespace {

constexpr char kAccept[] = "Accept : */*\r\n\r\n";
constexpr std::string_view kContentLength = "Content-Length: ";

enum Tag { kCurrentVersion, kAvailableFrom, kSize, kNote };
constexpr std::array<std::string_view, 4> kTags = {
    "<!Current Version=", "<!Available From=", "<!Size=", "<!Note="};

bool StartsWithNoCase(std::string_view text, std::string_view prefix) {
    if (text.size() < prefix.size()) {
        return false;
    }
    for (std::size_t i = 0; i < prefix.size(); ++i) {
        if (std::tolower(static_cast<unsigned char>(text[i])) !=
            std::tolower(static_cast<unsigned char>(prefix[i]))) {
            return false;
        }
    }
    return true;
}

// Leading decimal digits from pos on; pos ends behind them.
std::uint32_t ReadDigits(std::string_view text, std::size_t& pos) {
    std::uint32_t value = 0;
    while (pos < text.size() && std::isdigit(static_cast<unsigned char>(text[pos]))) {
        value = value * 10 + static_cast<std::uint32_t>(text[pos] - '0');
        ++pos;
    }
    return value;
}

// The request up to its Accept line, cut so that the Accept line still fits the request field.
std::string RequestHead(const std::string& path, const UpdateServer& server) {
    std::string head = "GET " + path + " HTTP/1.1\r\nHost: " + server.host;
    if (server.port != 80) {
        head += ":" + std::to_string(server.port);
    }
    head += "\r\n";
    return head.substr(0, CVersionSocket::kRequestSize - 1 - (sizeof kAccept - 1));
}

}  // namespace

std::string FitLine(const std::string& text) {
    return text.substr(0, CVersionSocket::kTextSize - 1);
}

CVersionSocket::CVersionSocket(EventLoop& loop, VersionStatusTarget& dlg, UpdateServer server,
                               std::string directory)
    : CStreamSocket(loop),
      m_dlg(dlg),
      m_server(std::move(server)),
      m_directory(std::move(directory)) {
    // A socket that is not made fails at ConnectToServer.
    Create();
}

bool CVersionSocket::ConnectToServer() {
    return Connect(m_server.host, m_server.port) != 0;
}

void CVersionSocket::Status(VersionStatusCode code, const std::string& text) {
    m_dlg.OnVersionStatus(code, FitLine(text));
}

void CVersionSocket::OnConnect(int nErrorCode) {
    if (nErrorCode != 0) {
        Status(VERSION_ERROR, "Error " + std::to_string(nErrorCode) + " connecting to server");
        return;
    }
    Status(VERSION_TEXT, "Connected to server, getting data ...");
    if (m_nPhase == 0) {
        m_szRequest = RequestHead("/version.htm", m_server);
    } else {
        m_strFileName = m_directory + "NewQuaylon.tmp";
        m_pFile.reset(std::fopen(m_strFileName.c_str(), "wb"));
        m_bFile = true;
    }
    m_szRequest += kAccept;
    if (Send(m_szRequest.data(), m_szRequest.size()) != static_cast<int>(m_szRequest.size())) {
        Status(VERSION_ERROR, "Error " + std::to_string(LastError()) + " Sending to server");
    }
}

void CVersionSocket::OnReceive(int) {
    // A failed receive shows in Receive's result.
    for (;;) {
        const int n = Receive(m_Buffer + m_nBuffered, kBufferSize - m_nBuffered);
        if (n < 1) {
            if (LastError() != 0 && LastError() != EWOULDBLOCK) {
                Status(VERSION_ERROR,
                       "Error " + std::to_string(LastError()) + " receiving from server");
            }
            return;
        }
        if (m_nPhase == 1) {
            if (m_pFile) {
                std::fwrite(m_Buffer, 1, static_cast<std::size_t>(n), m_pFile.get());
            }
            m_nReceived += static_cast<std::uint32_t>(n);
            m_dlg.OnDownloadProgress(m_nReceived);
        } else {
            m_nBuffered += static_cast<std::uint32_t>(n);
            if (m_nBuffered >= kBufferSize) {
                // Not shifted: the first 7168 bytes stay, the rest overwrites the last 1024.
                m_nBuffered -= 1024;
                Status(VERSION_TEXT, "Resetting extra length buffer");
            }
        }
    }
}

void CVersionSocket::OnClose(int) {
    // A broken connection ends the exchange as a finished one does.
    Status(VERSION_TEXT, "Connection with server closed");
    if (m_nPhase == 0) {
        ParseVersionPage();
    }
    if (m_bFile) {
        FinishDownload();
    }
}

void CVersionSocket::ParseVersionPage() {
    const std::string_view page(m_Buffer, m_nBuffered);
    std::string path;
    std::size_t pos = 0;
    while (pos < page.size()) {
        if (page[pos] != '<') {
            ++pos;
            continue;
        }
        int tag = 0;
        while (tag < static_cast<int>(kTags.size()) &&
               !StartsWithNoCase(page.substr(pos), kTags[static_cast<std::size_t>(tag)])) {
            ++tag;
        }
        if (tag == static_cast<int>(kTags.size())) {
            ++pos;
            continue;
        }
        pos += kTags[static_cast<std::size_t>(tag)].size();
        if (tag == kSize) {
            m_nExpected = ReadDigits(page, pos);
            continue;
        }
        const std::size_t end = std::min(page.find('>', pos), page.size());
        const std::string value(page.substr(pos, end - pos));
        pos = end;
        if (tag == kCurrentVersion) {
            m_strVersion = value;
        } else if (tag == kAvailableFrom) {
            path = value;
        } else {
            Status(VERSION_TEXT, value);
        }
    }
    if (m_strVersion.empty()) {
        Status(VERSION_ERROR, "Version checking is currently offline, please try later");
        return;
    }
    Status(VERSION_TEXT, "Latest Version : " + m_strVersion);
    Status(VERSION_TEXT, "Size : " + std::to_string(m_nExpected));
    m_szRequest = RequestHead(path, m_server);
    m_dlg.OnVersionStatus(VERSION_KNOWN, "");
}

void CVersionSocket::FinishDownload() {
    if (m_pFile) {
        std::fflush(m_pFile.get());
    }
    struct stat st {};
    const long long length = stat(m_strFileName.c_str(), &st) == 0 ? st.st_size : 0;
    const std::string text = "File received, " + std::to_string(length) + " bytes long";
    m_pFile.reset();
    if (ExtractDownload() == m_nExpected) {
        Status(VERSION_FILE_DONE, text);
    } else {
        Status(VERSION_TEXT, text);
        Status(VERSION_ERROR, "This is NOT the length expected, please contact Orrelin");
    }
    m_bFile = false;
}

std::uint32_t CVersionSocket::ExtractDownload() {
    std::unique_ptr<std::FILE, FileCloser> in(std::fopen(m_strFileName.c_str(), "rb"));
    if (!in) {
        return 0;
    }
    char head[1024];
    const std::size_t got = std::fread(head, 1, sizeof head, in.get());
    in.reset();
    const std::string_view header(head, got);
    std::size_t pos = header.find(kContentLength);
    if (pos == std::string_view::npos) {
        return 0;
    }
    pos += kContentLength.size();
    const std::uint32_t length = ReadDigits(header, pos);

    // The new program: the temporary name with "exe" for its last three characters.
    const std::string output = m_strFileName.substr(0, m_strFileName.size() - 3) + "exe";
    const int out = open(output.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0755);
    if (out >= 0) {
        in.reset(std::fopen(m_strFileName.c_str(), "rb"));
        if (!in) {
            close(out);
        } else {
            // The body is simply the last Content-Length bytes of what came.
            bool bFailed = std::fseek(in.get(), -static_cast<long>(length), SEEK_END) != 0;
            char piece[1024];
            for (std::uint32_t left = length; !bFailed && left > 0;) {
                const std::size_t want = std::min<std::size_t>(left, sizeof piece);
                const std::size_t read = std::fread(piece, 1, want, in.get());
                bFailed = read != want || write(out, piece, read) != static_cast<ssize_t>(read);
                left -= static_cast<std::uint32_t>(read);
            }
            in.reset();
            if (close(out) != 0 || bFailed) {
                return 0;  // the temporary file stays
            }
        }
    }
    if (unlink(m_strFileName.c_str()) != 0) {
        return 0;
    }
    struct stat st {};
    return stat(output.c_str(), &st) == 0 ? static_cast<std::uint32_t>(st.st_size) : 0;
}
