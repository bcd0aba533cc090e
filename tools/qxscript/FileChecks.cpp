#include "FileChecks.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace qxscript {

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
