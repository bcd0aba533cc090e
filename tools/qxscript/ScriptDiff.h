#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "DiffRecord.h"
#include "qx_scriptutil/TScriptCmd.h"

namespace qxscript {

// Per command name, the parameters that identify the object a command sets up: lines
// "cmd-name param1,param2" (blank lines and lines starting with "#" are skipped). Names are
// taken in lower case, as the reader gives them. Confined to one thread.
class DiffKeys {
  public:
    // False with "FILE:LINE: error: reason" (or the file's trouble) in error.
    bool Load(const std::string& path, std::string& error);
    // The identifying parameters of a command name, or null when the file names none.
    const std::vector<std::string>* Of(const std::string& cmdName) const;

  private:
    std::map<std::string, std::vector<std::string>> m_keys;
};

// One difference inside a pair of commands: a parameter (or a group of one) only in the first
// script, only in the second, or in both with other values.
struct ParaChange {
    std::string path;  // "admin", "vlan{2}.id", a whole group "vlan{3}"
    bool hasOld = false;
    bool hasNew = false;
    NSQX_script::MMLParaStruct oldPara;  // a whole group as a parameter with that one group
    NSQX_script::MMLParaStruct newPara;
};

struct CommandChange {
    enum Kind { kRemoved, kAdded, kChanged };
    Kind kind = kRemoved;
    std::size_t a = 0;  // index into the first script's commands (removed, changed)
    std::size_t b = 0;  // index into the second script's commands (added, changed)
    std::vector<ParaChange> changes;
};

struct DiffSettings {
    bool unorderedValues = false;    // "&" lists compare as sets
    const DiffKeys* keys = nullptr;  // null: commands pair by name and first parameter
};

// The record of a command for CompareScripts (made with the settings it is compared with).
// The parameters must nest at most kMaxDiffDepth deep (NestingDepth).
DiffEntry MakeDiffEntry(unsigned long code, unsigned long line,
                        const std::vector<NSQX_script::MMLParaStruct>& paras,
                        const DiffSettings& settings);

// Compares two scripts as an import sees them. Commands form a multiset: every command of one
// script equal to a not yet matched command of the other cancels it out, wherever it stands.
// What is left pairs by identity (the key parameters, else the first parameter, with the name)
// in file order, and each pair reports its parameter differences; the rest is removed or added.
// Parameters match by name (type included) and occurrence, so their order does not count;
// values compare by type and value; groups compare position by position. Results: the first
// script's removed and changed commands in its order, then the second's added ones in its order.
std::vector<CommandChange> CompareScripts(const std::vector<DiffEntry>& a,
                                          const std::vector<DiffEntry>& b,
                                          const DiffSettings& settings);

// What identifies a command in messages: its key parameters, or its first one, as script text.
std::string IdentityText(const DiffEntry& cmd, const DiffSettings& settings);
// The constant kMaxDiffDepth bounds the recursion of packing and comparing.

// How deep groups nest in a parameter list (0 for none), counted without recursion.
std::size_t NestingDepth(const std::vector<NSQX_script::MMLParaStruct>& paras);
// The deepest nesting that CompareScripts accepts (it recurses once per level).
constexpr std::size_t kMaxDiffDepth = 1000;

}  // namespace qxscript
