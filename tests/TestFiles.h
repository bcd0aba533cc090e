#pragma once

// File chores shared by the tests: the data folder, whole-file reads and writes, and a
// temporary directory that removes itself.

#include <stdlib.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace test_files {

// QX_TEST_DATA names the data folder; without it, the folder beside this header.
inline std::string DataDir(const std::string& sub = "") {
    const char* dir = std::getenv("QX_TEST_DATA");
    const std::string base = dir != nullptr && *dir != '\0'
                                 ? std::string(dir)
                                 : std::filesystem::path(__FILE__).parent_path().string() + "/data";
    return sub.empty() ? base : base + "/" + sub;
}

// The whole file, or "" when it cannot be read.
inline std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

inline bool WriteFile(const std::string& path, const std::string& bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << bytes;
    return static_cast<bool>(out);
}

// A fresh directory under /tmp, removed with everything in it when the object goes.
class TempDir {
  public:
    explicit TempDir(const std::string& prefix = "qx_test") {
        std::string tmpl = "/tmp/" + prefix + "_XXXXXX";
        if (mkdtemp(tmpl.data()) != nullptr) path_ = tmpl;
    }
    ~TempDir() {
        std::error_code ignored;
        if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    bool ok() const { return !path_.empty(); }
    const std::string& path() const { return path_; }
    std::string operator/(const std::string& name) const { return path_ + "/" + name; }

  private:
    std::string path_;
};

}  // namespace test_files
