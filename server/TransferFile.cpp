#include "server/TransferFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace {

// Deliberately not path itself: a new file beside it, so that neither a failed upload nor a
// second client writing the same name touches path before the whole file is there.
int CreatePartFile(const std::string& path, std::string& partPath) {
    static unsigned s_nCounter = 0;
    const auto slash = path.rfind('/');
    const std::string dir = slash == std::string::npos ? "" : path.substr(0, slash + 1);
    const std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
    for (int attempt = 0; attempt < 100; ++attempt) {
        partPath = dir + "." + name + "." + std::to_string(getpid()) + "-" +
                   std::to_string(++s_nCounter) + ".part";
        const int fd = open(partPath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (fd >= 0 || errno != EEXIST) {
            return fd;
        }
    }
    return -1;
}

}  // namespace

std::unique_ptr<TransferFile> TransferFile::Open(const std::string& path, Mode mode) {
    const bool bWrite = mode == Mode::WriteBinary || mode == Mode::WriteText;
    std::string partPath;
    // Non-blocking, so that a FIFO or a device cannot hold the main thread in open().
    const int fd = bWrite ? CreatePartFile(path, partPath)
                          : open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
        return nullptr;
    }
    struct stat info {};
    std::FILE* file = nullptr;
    if (fstat(fd, &info) == 0 && S_ISREG(info.st_mode)) {
        file = fdopen(fd, bWrite ? "wb" : "rb");
    }
    if (file == nullptr) {
        close(fd);
        if (bWrite) {
            unlink(partPath.c_str());
        }
        return nullptr;
    }
    return std::unique_ptr<TransferFile>(
        new TransferFile(file, mode, info.st_size, bWrite ? path : "", std::move(partPath)));
}

TransferFile::TransferFile(std::FILE* file, Mode mode, std::int64_t length, std::string path,
                           std::string partPath)
    : m_file(file),
      m_mode(mode),
      m_nLength(length),
      m_path(std::move(path)),
      m_partPath(std::move(partPath)) {
    std::setvbuf(m_file, m_ioBuffer, _IOFBF, sizeof m_ioBuffer);
}

TransferFile::~TransferFile() {
    if (m_file != nullptr) {
        std::fclose(m_file);
        if (!m_partPath.empty()) {
            unlink(m_partPath.c_str());
        }
    }
}

bool TransferFile::Close() {
    if (m_file == nullptr) {
        return true;
    }
    bool ok = true;
    if (m_bPendingCr) {
        // A CR at the very end had no partner: it stands for itself.
        ok = std::fputc('\r', m_file) != EOF;
        m_bPendingCr = false;
    }
    ok = std::fclose(m_file) == 0 && ok;
    m_file = nullptr;
    if (!m_partPath.empty()) {
        ok = ok && std::rename(m_partPath.c_str(), m_path.c_str()) == 0;
        if (!ok) {
            unlink(m_partPath.c_str());
        }
    }
    return ok;
}

int TransferFile::Read(char* buffer, int count) {
    m_nMarkOffset = std::ftell(m_file);
    m_nMarkPending = m_nPending;
    if (m_mode == Mode::ReadText) {
        return ReadText(buffer, count);
    }
    return static_cast<int>(std::fread(buffer, 1, static_cast<std::size_t>(count), m_file));
}

int TransferFile::ReadText(char* buffer, int count) {
    int n = 0;
    while (n < count) {
        if (m_nPending >= 0) {
            buffer[n++] = static_cast<char>(m_nPending);
            m_nPending = -1;
            continue;
        }
        const int c = getc_unlocked(m_file);
        if (c == EOF) {
            break;
        }
        if (c == '\n') {
            buffer[n++] = '\r';
            m_nPending = '\n';
        } else if (c == '\r') {
            buffer[n++] = '\r';
            m_nPending = '\0';
        } else {
            buffer[n++] = static_cast<char>(c);
        }
    }
    return n;
}

bool TransferFile::RewindLastRead() {
    if (m_nMarkOffset < 0 || std::fseek(m_file, m_nMarkOffset, SEEK_SET) != 0) {
        return false;
    }
    m_nPending = m_nMarkPending;
    return true;
}

int TransferFile::Write(const char* buffer, int count) {
    if (m_mode == Mode::WriteText) {
        return WriteText(buffer, count);
    }
    return static_cast<int>(std::fwrite(buffer, 1, static_cast<std::size_t>(count), m_file));
}

int TransferFile::WriteText(const char* buffer, int count) {
    for (int i = 0; i < count; ++i) {
        const char c = buffer[i];
        int out;
        if (m_bPendingCr) {
            m_bPendingCr = false;
            if (c == '\n') {
                out = '\n';
            } else if (c == '\0') {
                out = '\r';
            } else {
                // A bare CR on the wire: keep it and look at this byte on its own.
                if (putc_unlocked('\r', m_file) == EOF) {
                    return i;
                }
                if (c == '\r') {
                    m_bPendingCr = true;
                    continue;
                }
                out = static_cast<unsigned char>(c);
            }
        } else if (c == '\r') {
            m_bPendingCr = true;
            continue;
        } else {
            out = static_cast<unsigned char>(c);
        }
        if (putc_unlocked(out, m_file) == EOF) {
            return i;
        }
    }
    return count;
}
