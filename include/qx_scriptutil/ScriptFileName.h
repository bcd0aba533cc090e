#pragma once

#include <memory>
#include <string>

#include "qx_scriptutil/Export.h"

namespace NSQX_script {

// Builds and takes apart the names of script files: PREFIX[_NEPART][_TEXT]_(ENCODING).txt,
// where the NE part is a physical NE ID "high-low" or an IP address. A handle that owns its
// implementation record; confined to one thread.
class QX_API ScriptFileName {
  public:
    ScriptFileName();
    ~ScriptFileName();
    ScriptFileName(const ScriptFileName& other);
    ScriptFileName& operator=(const ScriptFileName& other);

    // The generators replace each of / \ : * ? " < > | ' ! $ ; & in what they build with "_",
    // then append "_(" + encoding + ").txt" ("UTF-8" when none is given).
    const std::string& GenerateFileName(char const* prefix, char const* text, char const* encoding);
    const std::string& GenerateNEFileName(char const* prefix, unsigned long phyNEID,
                                          char const* text, char const* encoding);
    // The address is not kept in the IP field: a generated name records only what analysis of
    // it would find in a number.
    const std::string& GenerateNEFileName(char const* prefix, char const* ipAddr, char const* text,
                                          char const* encoding);
    // Reads the prefix and the NE part of a name (the encoding suffix is not read back).
    bool AnalyseFileName(char const* fileName);

    const std::string& GetFileName() const;
    unsigned long GetPhyNEID() const;
    const std::string& GetIPAddr() const;
    const std::string& GetPrefix() const;
    const std::string& GetEncoding() const;

  private:
    struct Impl;
    std::unique_ptr<Impl> m_pImpl;
};

}  // namespace NSQX_script
