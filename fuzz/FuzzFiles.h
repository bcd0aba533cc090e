#pragma once

// Files for the fuzz targets that hand their input to the library as a file.

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace fuzz_files {

// A fresh directory under /tmp, its path ending in "/"; aborts when none can be made.
inline std::string MakeDir(const char* stem) {
    std::string pattern = std::string("/tmp/") + stem + "_XXXXXX";
    if (mkdtemp(&pattern[0]) == nullptr) std::abort();
    return pattern + "/";
}

// Replaces the file's content with the bytes; false when the file cannot be written.
inline bool Store(const std::string& path, const void* data, std::size_t size) {
    std::FILE* f = std::fopen(path.c_str(), "wb");
    if (f == nullptr) return false;
    const bool whole = std::fwrite(data, 1, size, f) == size;
    return std::fclose(f) == 0 && whole;
}

}  // namespace fuzz_files
