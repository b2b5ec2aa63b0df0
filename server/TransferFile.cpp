#include "server/TransferFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

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
    if (fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) {
        close(fd);
        if (bWrite) {
            unlink(partPath.c_str());
        }
        return nullptr;
    }
    std::unique_ptr<TransferFile> file(
        new TransferFile(fd, mode, info.st_size, bWrite ? path : "", std::move(partPath)));
    if (mode != Mode::ReadBinary && file->m_file == nullptr) {
        return nullptr;
    }
    return file;
}

TransferFile::TransferFile(int fd, Mode mode, std::int64_t length, std::string path,
                           std::string partPath)
    : m_fd(fd),
      m_mode(mode),
      m_nLength(length),
      m_path(std::move(path)),
      m_partPath(std::move(partPath)) {
    if (mode != Mode::ReadBinary) {
        // A write gathers small blocks into fewer system calls; a text read takes a byte at a
        // time. Either way a few pages do: larger blocks go past the buffer.
        static constexpr std::size_t kStreamBuffer = 16 * 1024;
        m_file = fdopen(fd, mode == Mode::ReadText ? "rb" : "wb");
        if (m_file != nullptr) {
            m_ioBuffer = std::make_unique<char[]>(kStreamBuffer);
            std::setvbuf(m_file, m_ioBuffer.get(), _IOFBF, kStreamBuffer);
        }
    }
}

TransferFile::~TransferFile() {
    if (m_fd < 0) {
        return;
    }
    if (m_file != nullptr) {
        std::fclose(m_file);
    } else {
        close(m_fd);
    }
    if (!m_partPath.empty()) {
        unlink(m_partPath.c_str());
    }
}

bool TransferFile::Close() {
    if (m_fd < 0) {
        return true;
    }
    bool ok = true;
    if (m_bPendingCr) {
        // A CR at the very end had no partner: it stands for itself.
        ok = std::fputc('\r', m_file) != EOF;
        m_bPendingCr = false;
    }
    ok = (m_file != nullptr ? std::fclose(m_file) : close(m_fd)) == 0 && ok;
    m_file = nullptr;
    m_fd = -1;
    if (!m_partPath.empty()) {
        ok = ok && std::rename(m_partPath.c_str(), m_path.c_str()) == 0;
        if (!ok) {
            unlink(m_partPath.c_str());
        }
    }
    return ok;
}

int TransferFile::Read(char* buffer, int count) {
    m_nMarkOffset = m_nOffset;
    m_nMarkPending = m_nPending;
    if (m_mode == Mode::ReadText) {
        return ReadText(buffer, count);
    }
    if (count * 2 <= kAheadBytes) {
        return ReadAhead(buffer, count);
    }
    const int n = ReadAt(buffer, count, m_nOffset);
    m_nOffset += n;
    return n;
}

int TransferFile::ReadAt(char* buffer, int count, std::int64_t offset) const {
    int n = 0;
    while (n < count) {
        const ssize_t got =
            pread(m_fd, buffer + n, static_cast<std::size_t>(count - n), offset + n);
        if (got <= 0) {
            break;
        }
        n += static_cast<int>(got);
    }
    return n;
}

int TransferFile::ReadAhead(char* buffer, int count) {
    if (!m_ahead) {
        m_ahead = std::make_unique<char[]>(kAheadBytes);
    }
    // Only a block that lies whole in what was read ahead comes from it; any other, the last
    // one included, is read afresh from the disk, as an unbuffered read would. A rewind never
    // goes back before the read that filled the buffer.
    if (m_nOffset + count > m_nAheadStart + m_nAheadLength) {
        m_nAheadStart = m_nOffset;
        m_nAheadLength = ReadAt(m_ahead.get(), kAheadBytes, m_nOffset);
    }
    const int n =
        static_cast<int>(std::min<std::int64_t>(count, m_nAheadStart + m_nAheadLength - m_nOffset));
    std::memcpy(buffer, m_ahead.get() + (m_nOffset - m_nAheadStart), static_cast<std::size_t>(n));
    m_nOffset += n;
    return n;
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
        ++m_nOffset;
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
    if (m_file != nullptr && fseeko(m_file, m_nMarkOffset, SEEK_SET) != 0) {
        return false;
    }
    m_nOffset = m_nMarkOffset;
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
