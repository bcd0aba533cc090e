#pragma once

#include <bitset>
#include <vector>

#include "qx_platform/SingleReturn.h"
#include "qx_scriptutil/Export.h"

namespace NSQX_script {

using qxp::QXSingleReturn;

// The script-file interface handed to the import and export hooks (defined with the script
// files).
class ScriptFile;

// The base of every import/export plug-in. A plug-in object registers per-command functions
// with ScriptManagerIF and is then called by the platform's import and export tasks: Pre...
// before a run, ...Func with the open script file, Post... after it. The registry refers to a
// plug-in without owning it; the plug-in must outlive its registration. Not locked: the hooks
// of one run are called from the task's thread.
class QX_API ScriptRegeisterIF {
  public:
    virtual ~ScriptRegeisterIF() = default;

    // The plug-in's identity: a short, stable, non-null name (for example the name of the
    // module it serves) used in diagnostics and by the tasks to tell plug-ins apart.
    virtual const char* GetPluginName() const = 0;

    virtual void PreExport() {}
    // Forwards to the reference form; a null file is not handled (code all ones).
    virtual QXSingleReturn ExportFunc(unsigned long id1, unsigned long id2, ScriptFile* file);
    // Base: not handled, code all ones and two empty texts.
    virtual QXSingleReturn ExportFunc(unsigned long id1, unsigned long id2, ScriptFile& file);
    virtual void PostExport() {}

    // The calling task defines the option flags and the identifiers.
    virtual void PreImport(std::bitset<16> options, std::vector<unsigned long> const& ids) {
        (void)options;
        (void)ids;
    }
    virtual QXSingleReturn ImportFunc(unsigned long id1, unsigned long id2, ScriptFile* file);
    virtual QXSingleReturn ImportFunc(unsigned long id1, unsigned long id2, ScriptFile& file);
    virtual void PostImport() {}

    // Whether the plug-in supports the unconfigured state for the identifier; base: no.
    virtual bool IsIFSupportUnconfigedState(unsigned long id) {
        (void)id;
        return false;
    }

    virtual void setScriptType(int scriptType) { m_scriptType = scriptType; }
    virtual int getScriptType() { return m_scriptType; }

    // The code of a request that the plug-in does not handle.
    static constexpr unsigned long kNotHandled = ~0UL;

  protected:
    int m_scriptType = 0;
};

}  // namespace NSQX_script
