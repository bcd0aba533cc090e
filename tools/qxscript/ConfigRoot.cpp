#include "ConfigRoot.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "TempFiles.h"
#include "qx_platform/Control.h"
#include "qx_platform/Settings.h"

namespace qxscript {

namespace fs = std::filesystem;

ConfigRoot::~ConfigRoot() {
    if (m_path.empty()) return;
    std::error_code ec;
    fs::remove_all(m_path, ec);  // removes links, never what they point at
    for (const std::string& path : m_made) TempFiles::Forget(path);
    qxp::SetAppRootPath(m_previousRoot);
}

bool ConfigRoot::Create(std::string& error) {
    const char* tmp = std::getenv("TMPDIR");
    std::string pattern =
        std::string(tmp != nullptr && *tmp != '\0' ? tmp : "/tmp") + "/qxscript-root.XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) {
        error = "cannot create a temporary directory: " + SystemError(errno);
        return false;
    }
    m_path = pattern + "/";
    Remember(pattern, true);
    m_previousRoot = qxp::OrinGetAppRootPath();
    qxp::SetAppRootPath(m_path);
    return true;
}

void ConfigRoot::Remember(const std::string& path, bool directory) {
    if (TempFiles::Add(path, directory)) m_made.push_back(path);
}

bool ConfigRoot::MakeParents(const std::string& relPath, std::string& error) {
    fs::path dir = m_path;
    for (const fs::path& part : fs::path(relPath).parent_path()) {
        dir /= part;
        std::error_code ec;
        if (fs::create_directory(dir, ec)) Remember(dir.string(), true);
        if (ec) {
            error = "cannot create " + dir.string() + ": " + ec.message();
            return false;
        }
    }
    return true;
}

bool ConfigRoot::Link(const std::string& userPath, const std::string& relPath, std::string& error) {
    if (!MakeParents(relPath, error)) return false;
    const std::string link = m_path + relPath;
    if (symlink(AbsolutePath(userPath).c_str(), link.c_str()) != 0) {
        error = "cannot link " + userPath + ": " + SystemError(errno);
        return false;
    }
    Remember(link, false);
    return true;
}

bool ConfigRoot::Write(const std::string& relPath, const std::string& content, std::string& error) {
    if (!MakeParents(relPath, error)) return false;
    Remember(m_path + relPath, false);
    std::ofstream out(m_path + relPath, std::ios::binary | std::ios::trunc);
    out << content;
    out.close();
    if (!out) {
        error = "cannot write " + m_path + relPath;
        return false;
    }
    return true;
}

std::string AbsolutePath(const std::string& path) {
    std::error_code ec;
    const fs::path abs = fs::absolute(path, ec);
    return ec ? path : abs.lexically_normal().string();
}

std::string SystemError(int err) {
    return std::strerror(err);
}

bool CheckReadableFile(const std::string& path, std::string& error) {
    struct stat st {};
    if (stat(path.c_str(), &st) != 0) {
        error = path + ": " + SystemError(errno);
        return false;
    }
    if (S_ISDIR(st.st_mode)) {
        error = path + ": is a directory";
        return false;
    }
    if (access(path.c_str(), R_OK) != 0) {
        error = path + ": " + SystemError(errno);
        return false;
    }
    return true;
}

}  // namespace qxscript
