#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

// The open file of a transfer: a binary stream, or a netascii text stream that turns each LF
// of the file into CR LF and a bare CR into CR NUL on the wire, and back on a write.
class TransferFile {
  public:
    enum class Mode { ReadBinary, WriteBinary, ReadText, WriteText };

    // Null if the file cannot be opened. A read opens only a regular file, and never waits on
    // one. A write goes to a new file beside path, which Close puts in path's place.
    static std::unique_ptr<TransferFile> Open(const std::string& path, Mode mode);
    ~TransferFile();
    TransferFile(const TransferFile&) = delete;
    TransferFile& operator=(const TransferFile&) = delete;

    // Length of the file on the disk when it was opened.
    std::int64_t Length() const { return m_nLength; }

    // Reads up to count wire bytes; fewer only at the end of the file.
    int Read(char* buffer, int count);
    // Goes back to where the last Read began, so that it can deliver the same bytes again.
    bool RewindLastRead();
    // Writes count wire bytes; the result is how many of them reached the file.
    int Write(const char* buffer, int count);
    // Flushes and closes, and a write's file takes the place of path; false if anything written
    // could not be stored. A write that is not closed leaves path as it was.
    bool Close();

  private:
    TransferFile(int fd, Mode mode, std::int64_t length, std::string path, std::string partPath);
    int ReadText(char* buffer, int count);
    int ReadAhead(char* buffer, int count);
    // Up to count bytes from offset; fewer only at the end of the file or on an error.
    int ReadAt(char* buffer, int count, std::int64_t offset) const;
    int WriteText(const char* buffer, int count);

    // Blocks of up to half this size are served from one read of this many bytes ahead, which
    // saves a system call on most of them for a few KiB a transfer.
    static constexpr int kAheadBytes = 4096;

    int m_fd;
    // A stream only where bytes are taken or stored one at a time (netascii) or many blocks are
    // gathered into one write; a binary read goes from the file into the packet, small blocks
    // through the read ahead below.
    std::FILE* m_file = nullptr;
    std::unique_ptr<char[]> m_ioBuffer;
    // File bytes from m_nAheadStart read ahead of small binary blocks.
    std::unique_ptr<char[]> m_ahead;
    std::int64_t m_nAheadStart = 0;
    int m_nAheadLength = 0;
    Mode m_mode;
    std::int64_t m_nLength;
    // A write's final name, and the name it is written under until Close.
    std::string m_path;
    std::string m_partPath;
    // Second byte of a pair whose first byte ended the last block (LF after CR, or NUL).
    int m_nPending = -1;
    // Bytes of the file read so far, and where the last Read began, for a rewind.
    std::int64_t m_nOffset = 0;
    std::int64_t m_nMarkOffset = 0;
    int m_nMarkPending = -1;
    // A CR written last whose meaning depends on the next byte.
    bool m_bPendingCr = false;
};
