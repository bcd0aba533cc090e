#pragma once

#include "qx_scriptutil/Types.h"

namespace NSQX_script {

// Converts one slot number of an NE into the numbering that the store's conversion type
// (QXConvertDataStorage::GetCvtType) selects, leaving out the same text when nothing
// applies: an NE ID other than 0 that the current task's device map does not list, type 3,
// and under type 2 any value up to 65535. Type 0 maps 80..87 to 120..127 and encodes
// 100..998 as shelf << 16 | slot; type 1 maps 10000..10999 to 0..999 and encodes 100..998;
// type 2 decodes shelf << 16 | slot back to shelf * 100 + slot, or to 10000 + slot for slots
// of 100 and more. Every other number of types 0 and 1 comes back as its plain decimal text.
// False only for an input that is not an unsigned decimal number (out is then the input).
// With the "logconvertresult"/"logresult" switch on, each conversion is traced.
// Reads the store singleton; holds no lock of its own.
QX_API bool QXScriptSlotConvert(unsigned long neId, const CStdString& in, CStdString& out);

}  // namespace NSQX_script
