#pragma once

#include <string>

namespace qxscript {

// The temporary files and directories the tool has made and not yet renamed or removed. On
// SIGINT, SIGTERM, SIGHUP, SIGQUIT and SIGPIPE (a reader that went away) they are removed, the
// latest first, before the signal takes its usual course, so that an interrupted run leaves nothing
// behind. Holds a fixed number of paths in static storage, because the handler may touch nothing
// else; thread-safe (workers spool their inputs), the handler runs on whichever thread.
class TempFiles {
  public:
    // Installs the handlers (once) and remembers path, a file or link, or an empty directory
    // whose contents are added after it; false when the table is full.
    static bool Add(const std::string& path, bool directory = false);
    // Forgets path (after it was renamed or removed).
    static void Forget(const std::string& path);
};

}  // namespace qxscript
