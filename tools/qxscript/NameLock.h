#pragma once

#include <cstddef>
#include <functional>

namespace qxscript {

// Keeps command names safe and their codes stable while workers read scripts at once. Every
// reader looks names up in the library's command-name map, which has no lock, and the tool
// gives names met in scripts codes of their own in order of first appearance. So a reader holds
// a shared slot (Reading) while the library may look a name up, and a name is registered only
// through Learn(): with every other reader out of the map, and by the thread whose file comes
// first among those not yet finished, so that names get the codes one thread would give them.
// Off until Enable(), and then every call is a plain call. Process-wide; Enable() and Disable()
// on the main thread while no worker runs, the rest from any thread.
class NameLock {
  public:
    // Files are numbered from 0 in the order of the arguments.
    static void Enable(std::size_t files);
    static void Disable();
    static bool Enabled();

    // A shared slot for the calling thread; nests.
    class Reading {
      public:
        Reading();
        ~Reading();
        Reading(const Reading&) = delete;
        Reading& operator=(const Reading&) = delete;

      private:
        bool m_on;
    };

    // The calling thread reads file index from now on.
    static void SetTurn(std::size_t index);
    // File index is done: files after it may register names once it and all before it are.
    static void Finished(std::size_t index);

    // Runs learn alone, on this thread's turn, unless known() turns true first; known() is asked
    // with no learn running. Called with or without a slot of the calling thread.
    static void Learn(const std::function<bool()>& known, const std::function<void()>& learn);
};

}  // namespace qxscript
