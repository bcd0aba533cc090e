#pragma once

#include <string>

#include "qx_scriptutil/Export.h"

namespace NSQX_script {

// Appends in to out with a backslash put before every backslash and double quote, so that the
// text can stand inside a quoted parameter value. out is not cleared first.
QX_API void ConvertSpecialCharInStr(std::string& out, std::string& in);

// Sets out to in with the escaping undone. Scripts of version 50855936 and later (the
// "Script_Version" flag of the calling thread's current task) use the rule "a backslash
// escapes the next character"; older ones (and threads without a task or flag) only undo a
// backslash before a quote and halve even runs of backslashes.
QX_API void UnConvertSpecialCharInStr(std::string& out, std::string& in);
// The same with the rule of the given script version, for a caller that knows the file the text
// came from (TScriptFileImpl::GetVersion()); reads no task flag.
QX_API void UnConvertSpecialCharInStr(std::string& out, const std::string& in,
                                      unsigned long scriptVersion);

// The encoding in which scripts are written: "GBK" (setting 0), "ISO8859-1" (setting 2) or
// "UTF-8" (setting 1, the default, and every other value). The setting is the enumeration
// item "curscriptencoding" of "encoding".
QX_API const char* GetCfgEncoding();

}  // namespace NSQX_script
