#pragma once

#include <list>

#include "qx_scriptutil/TScriptCmd.h"

namespace NSQX_script {

// The commands a file object holds and the one it hands out next. A copy holds copies of the
// commands and points at its own first one; the cursor never points into another list.
struct CommandList {
    std::list<TScriptCmd> items;
    std::list<TScriptCmd>::iterator current = items.end();

    CommandList() = default;
    CommandList(const CommandList& other) : items(other.items), current(items.begin()) {}
    CommandList& operator=(const CommandList& other) {
        if (this != &other) {
            items = other.items;
            current = items.begin();
        }
        return *this;
    }
    ~CommandList() = default;

    bool AtEnd() const { return current == items.end(); }
    void Clear() {
        items.clear();
        current = items.end();
    }
};

}  // namespace NSQX_script
