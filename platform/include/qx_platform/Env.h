#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "qx_platform/Export.h"
#include "qx_platform/Status.h"

namespace qxp {

// A file opened for reading. Confined to one thread; owned by whoever opened it.
class QXP_API ReadableFile {
  public:
    virtual ~ReadableFile() = default;
    // Reads up to n bytes into buf; *got is 0 only at the end of the file.
    virtual Status Read(char* buf, std::size_t n, std::size_t* got) = 0;
    // Goes back to the first byte; an error for a source that cannot (a pipe or a FIFO).
    virtual Status Rewind() = 0;
};

// A file opened for writing. Confined to one thread; owned by whoever opened it. Destroying
// it closes it but drops the outcome: call Close to learn whether everything reached the file.
class QXP_API WritableFile {
  public:
    virtual ~WritableFile() = default;
    // Appends all n bytes or fails; a short write is an error.
    virtual Status Append(const char* data, std::size_t n) = 0;
    virtual Status Flush() = 0;
    // Flushes and closes; the error of the final write or of the close. Idempotent.
    virtual Status Close() = 0;
};

enum class WriteMode { kTruncate, kAppend };

// The operating system as the library sees it: files to read and write, and the few directory
// operations it needs. Paths are UTF-8. Every implementation is thread-safe; the files it hands
// out are not. Modelled so that tests and fuzz targets can run the library against memory.
class QXP_API Env {
  public:
    virtual ~Env() = default;

    // The process's environment (POSIX); it lives as long as the process and is not owned.
    static Env* Default();

    virtual Status NewReadableFile(const std::string& path,
                                   std::unique_ptr<ReadableFile>* file) = 0;
    // Creates the file when missing.
    virtual Status NewWritableFile(const std::string& path, WriteMode mode,
                                   std::unique_ptr<WritableFile>* file) = 0;
    virtual Status DeleteFile(const std::string& path) = 0;
    // Replaces an existing target.
    virtual Status RenameFile(const std::string& from, const std::string& to) = 0;
    // Creates the directory and its missing parents; ok when it exists afterwards.
    virtual Status MakeDir(const std::string& path) = 0;
    virtual bool FileExists(const std::string& path) = 0;
    virtual bool IsDirectory(const std::string& path) = 0;
};

// An environment that keeps its files in memory and touches no disk; for tests and fuzz
// targets. Owned by the caller; the files it hands out keep their data alive after it goes.
QXP_API std::unique_ptr<Env> NewMemEnv();

// Reads a whole file through env; the error names the path.
QXP_API Status ReadFileToString(Env* env, const std::string& path, std::string* data);
// Writes data as the whole file, closing it and reporting the close's outcome too.
QXP_API Status WriteStringToFile(Env* env, const std::string& data, const std::string& path);

}  // namespace qxp
