#pragma once

#include <string>

namespace qxscript {

// An output file that appears whole or not at all: the content goes to a temporary file,
// which Commit() flushes and then puts in place. Without Commit() the temporary file is
// removed (also on SIGINT and SIGTERM), so a failure never leaves a half-written output.
//
// How the finished file is put in place depends on what the target is:
// - a regular file or a new path: the temporary file, made beside it, is renamed over it and
//   takes the permission bits of the file it replaces;
// - a symbolic link: the same for the file it finally points to (the link stays);
// - "-" (or /dev/stdout), a character device or a FIFO, also behind links: the content is
//   copied into it, which is never replaced (the temporary file lies in $TMPDIR);
// - anything else (a directory, a block device, a socket) is refused by Begin().
// Confined to one thread.
class SafeOutput {
  public:
    SafeOutput() = default;
    ~SafeOutput();
    SafeOutput(const SafeOutput&) = delete;
    SafeOutput& operator=(const SafeOutput&) = delete;

    bool Begin(const std::string& target, std::string& error);
    const std::string& TempPath() const { return m_temp; }
    bool Commit(std::string& error);

  private:
    bool CopyInto(int fd, const std::string& name, std::string& error) const;

    std::string m_target;  // the path renamed over, or the stream copied into
    std::string m_temp;
    bool m_stream = false;  // copy into m_target ("-": standard output)
};

}  // namespace qxscript
