#include "qx_scriptutil/ScriptRegeisterIF.h"

namespace NSQX_script {

namespace {

QXSingleReturn NotHandled() {
    QXSingleReturn r;
    r.code = ScriptRegeisterIF::kNotHandled;
    return r;
}

}  // namespace

QXSingleReturn ScriptRegeisterIF::ExportFunc(unsigned long id1, unsigned long id2,
                                             ScriptFile* file) {
    if (file == nullptr) return NotHandled();
    return ExportFunc(id1, id2, *file);
}

QXSingleReturn ScriptRegeisterIF::ExportFunc(unsigned long, unsigned long, ScriptFile&) {
    return NotHandled();
}

QXSingleReturn ScriptRegeisterIF::ImportFunc(unsigned long id1, unsigned long id2,
                                             ScriptFile* file) {
    if (file == nullptr) return NotHandled();
    return ImportFunc(id1, id2, *file);
}

QXSingleReturn ScriptRegeisterIF::ImportFunc(unsigned long, unsigned long, ScriptFile&) {
    return NotHandled();
}

}  // namespace NSQX_script
