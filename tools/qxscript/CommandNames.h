#pragma once

#include <string>
#include <vector>

namespace qxscript {

// Registers command names in the library's name map, which the reader needs: a command whose
// name is not registered is skipped without a word. Names come from the "Cmd" elements of
// enumeration tables, from names files ("ID NAME" lines) and, unless turned off, from the
// script itself: a post-analyse hook sees every parsed command before the reader looks its
// name up and gives each new name the next free code (after the highest one registered), in
// order of first appearance. The reader lower-cases names outside quotes, so names are
// registered in lower case. Process-wide state: loaded on the main thread before workers start;
// the hook runs on every reading thread, under NameLock when several read at once.
class CommandNames {
  public:
    // The names of an enumeration table's "Cmd" elements ("name" and "cmdid").
    static bool LoadEnumFile(const std::string& path, std::string& error);
    // Lines "ID NAME"; blank lines and lines starting with "#" are skipped.
    static bool LoadNamesFile(const std::string& path, std::string& error);
    static void SetAutoRegister(bool on);
    // Names met while automatic registration was off and not registered, in order.
    static const std::vector<std::string>& Unknown();
    // Names met by the calling thread while automatic registration was off and not registered,
    // in order, since the last call (which clears them); with workers, the only record kept.
    static std::vector<std::string> TakeUnknownHere();
    static void Register(const std::string& name, unsigned long code);
};

}  // namespace qxscript
