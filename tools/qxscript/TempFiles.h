#pragma once

#include <string>

namespace qxscript {

// The temporary files the tool has made and not yet renamed or removed. On SIGINT, SIGTERM,
// SIGHUP, SIGQUIT and SIGPIPE (a reader that went away) they are removed before the signal takes
// its usual course, so that an interrupted run leaves nothing behind. Holds a fixed number of
// paths in static storage, because the handler may touch nothing else; thread-safe (workers spool
// their inputs), the handler runs on whichever thread.
class TempFiles {
  public:
    // Creates a file from pattern as mkostemp does (O_CLOEXEC) and remembers it, with the signals
    // blocked in between, so that no signal can leave the file behind unremembered; the
    // descriptor, or -1 with errno set.
    static int Make(std::string& pattern);
    // Forgets path (after it was renamed or removed).
    static void Forget(const std::string& path);
};

}  // namespace qxscript
