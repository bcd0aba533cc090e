#pragma once

#include <string>
#include <vector>

namespace qxscript {

// One script to read, in the order the command line gives it.
struct InputItem {
    std::string path;      // "-" for standard input
    std::string relative;  // the path below the directory argument it was found in, else its
                           // file name (where an output directory puts its result)
    std::string error;     // set when the argument cannot be read (a directory without -r, a
                           // directory that cannot be listed); path names it then
};

// How directory arguments are walked.
struct InputWalk {
    bool recursive = false;         // -r: directories are read, their subdirectories too
    std::string include = "*.txt";  // --include: fnmatch pattern on the file's name
};

// The files named by the arguments: files and "-" as given, directories (with recursive) by
// their files whose names match the pattern, in byte order of the names, subdirectories in
// place. A directory reached twice (a symbolic link back up the tree, or to a place already
// walked) is walked once, so a loop of links ends. Hidden entries (names starting with ".")
// are skipped inside directories.
std::vector<InputItem> ListInputs(const std::vector<std::string>& args, const InputWalk& walk);

}  // namespace qxscript
