#pragma once

#include <string>
#include <vector>

namespace qxscript {

// A private application root for one run of the tool. The library finds its configuration
// files below the host's application root (qxp::SetAppRootPath): the enumeration tables at
// paths relative to it and the slot table at a fixed place inside it. Users name files by
// ordinary relative or absolute paths, so the tool makes a temporary root, links each file
// the user gave to where the library looks, and points the host at it. The directory and the
// links are removed on destruction (the files linked to are left alone), and on SIGINT or
// SIGTERM. Confined to the main thread.
class ConfigRoot {
  public:
    ConfigRoot() = default;
    ~ConfigRoot();
    ConfigRoot(const ConfigRoot&) = delete;
    ConfigRoot& operator=(const ConfigRoot&) = delete;

    // Creates the directory and makes it the application root (the previous one comes back on
    // destruction).
    bool Create(std::string& error);
    // Makes relPath inside the root a link to the file at userPath (which need not exist yet).
    bool Link(const std::string& userPath, const std::string& relPath, std::string& error);
    // Writes a file of the tool's own inside the root.
    bool Write(const std::string& relPath, const std::string& content, std::string& error);
    const std::string& Path() const { return m_path; }

  private:
    bool MakeParents(const std::string& relPath, std::string& error);

    void Remember(const std::string& path, bool directory);

    std::string m_path;               // ends in "/"
    std::vector<std::string> m_made;  // what the signal handlers are to remove
    std::string m_previousRoot;
};

// The absolute form of a path (relative paths are taken from the working directory).
std::string AbsolutePath(const std::string& path);
// The text of the system error number.
std::string SystemError(int err);
// Whether path names a readable regular file; otherwise the reason in error.
bool CheckReadableFile(const std::string& path, std::string& error);

}  // namespace qxscript
