#include "server/TransferFile.h"

#include <sys/stat.h>

std::unique_ptr<TransferFile> TransferFile::Open(const std::string& path, Mode mode) {
    const bool bWrite = mode == Mode::WriteBinary || mode == Mode::WriteText;
    std::FILE* file = std::fopen(path.c_str(), bWrite ? "wbe" : "rbe");
    if (file == nullptr) {
        return nullptr;
    }
    struct stat info {};
    if (fstat(fileno(file), &info) != 0 || S_ISDIR(info.st_mode)) {
        std::fclose(file);
        return nullptr;
    }
    return std::unique_ptr<TransferFile>(new TransferFile(file, mode, info.st_size));
}

TransferFile::TransferFile(std::FILE* file, Mode mode, std::int64_t length)
    : m_file(file), m_mode(mode), m_nLength(length) {
    std::setvbuf(m_file, m_ioBuffer, _IOFBF, sizeof m_ioBuffer);
}

TransferFile::~TransferFile() {
    Close();
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
