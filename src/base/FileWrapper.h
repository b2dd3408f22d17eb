// The interface for the library's own files, and the absolute name of a path.
#pragma once

#include <cstdint>
#include <string>

namespace nubrix {

/// One file. It keeps a read and a write position of its own, can cap what is written and can
/// rewrite its head.
///
/// A transfer that cannot reach its position (a full disk that refuses what is still buffered)
/// moves nothing and gives 0. Thread-safe, closing included; deleting is not.
class FileWrapper {
public:
    /// A closed file. The caller owns it and deletes it through this interface.
    static FileWrapper *create();

    FileWrapper() = default;
    FileWrapper(const FileWrapper &) = delete;
    FileWrapper &operator=(const FileWrapper &) = delete;
    virtual ~FileWrapper() = default;

    virtual bool open() const = 0;

    /// Opens `name` for reading, or empties it for writing. With `wrapRead`, reading starts over
    /// once it has reached the size that the file had when it was opened. Positions and the limit
    /// of an earlier file stay as they are: use a new object for a new file. Gives 0, also (and
    /// then it does nothing) for a file that is open already; -1 when it cannot be opened.
    virtual int openFile(const char *name, bool readOnly, bool wrapRead, bool text) = 0;
    virtual void closeFile() = 0;

    /// Caps the bytes that write() puts into the file; 0 lifts the limit. Only bytes written while
    /// there is a limit count.
    virtual void setMaxFileSize(unsigned int maxSizeBytes) = 0;

    /// Hands all written data to the system. -5 without an open file, else 0.
    virtual int flush() = 0;

    /// Copies the name, cut to sizeBytes - 1 characters and terminated. Gives the bytes stored.
    virtual int fileName(char *buffer, unsigned int sizeBytes) const = 0;

    /// In bytes; 0 when it cannot be found out, -1 without an open file.
    virtual std::int64_t fileSize() = 0;

    /// Prints at the write position, whatever the limit. Gives the new write position, or -1
    /// without an open file.
    virtual std::int64_t writeText(const char *format, ...)
        __attribute__((format(printf, 2, 3))) = 0;

    /// Reads at most sizeBytes from the read position. Gives the bytes read (0 at the end), or -1
    /// without an open file, with a null buffer or a negative size.
    virtual int read(void *buffer, int sizeBytes) = 0;

    /// Writes at the write position, at most what the limit leaves. Gives the bytes written (0
    /// when the limit is reached, which is no error), or -1 as for read().
    virtual int write(const void *buffer, int sizeBytes) = 0;

    /// Writes from the first byte on, whatever the limit; the write position moves only when the
    /// head reaches beyond it. Results as for write().
    virtual int writetohead(const void *buffer, int sizeBytes) = 0;

    /// Reading starts over. 0, or -1 when the file cannot be positioned; -13 without an open file.
    virtual int rewind() = 0;

    /// The name last given to openFile().
    virtual std::string getFileName() = 0;
};

/// Copies the absolute path without symbolic links. The path must exist. A result of exactly
/// `size` characters is accepted, so `out` must hold size + 1 bytes. 0, or -1 with `out` untouched
/// when an argument is null, the path cannot be resolved or the result is longer. Thread-safe.
int getFullPathName(const char *path, char *out, unsigned int size);

}  // namespace nubrix
