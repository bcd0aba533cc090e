#pragma once

#include <string>

namespace qxscript {

// An output file that appears whole or not at all: the content goes to a temporary file in
// the target's directory, which Commit() flushes to disk and renames over the target. Without
// Commit() the temporary file is removed, so a failure never leaves a half-written output.
// The target "-" means standard output: the finished file is then copied there. An existing
// target keeps its permission bits. Confined to one thread.
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
    std::string m_target;
    std::string m_temp;
    bool m_toStdout = false;
};

// Runs the library's writer with a file service that remembers failed closes (a full disk
// shows up at the last flush), for the lifetime of the object. Confined to one thread.
class CloseWatch {
  public:
    CloseWatch();
    ~CloseWatch();
    CloseWatch(const CloseWatch&) = delete;
    CloseWatch& operator=(const CloseWatch&) = delete;

    // The system error of the first failed close, or 0.
    int FirstError() const;
};

}  // namespace qxscript
