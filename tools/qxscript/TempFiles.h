#pragma once

#include <string>

namespace qxscript {

// The temporary files the tool has made and not yet renamed or removed. On SIGINT, SIGTERM,
// SIGHUP and SIGQUIT they are unlinked before the signal takes its usual course, so that an
// interrupted run leaves nothing behind. Holds a fixed number of paths in static storage,
// because the handler may touch nothing else; used from the main thread only.
class TempFiles {
  public:
    // Installs the handlers (once) and remembers path; false when the table is full.
    static bool Add(const std::string& path);
    // Forgets path (after it was renamed or removed).
    static void Forget(const std::string& path);
};

}  // namespace qxscript
