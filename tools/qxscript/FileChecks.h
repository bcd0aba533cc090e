#pragma once

#include <string>

namespace qxscript {

// The text of the system error number.
std::string SystemError(int err);
// Whether path names a readable regular file; otherwise the reason in error.
bool CheckReadableFile(const std::string& path, std::string& error);

}  // namespace qxscript
