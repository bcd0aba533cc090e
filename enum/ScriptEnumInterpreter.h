#pragma once

#include "qx_platform/Xml.h"
#include "qx_scriptutil/EnumMap.h"

namespace NSQX_script {

// Fills ScriptEnumCfg's temporary copy from an enumeration document parsed by the host: each
// "Para" of each "Cmd" becomes one entry, whatever its "type". Stateless; the host calls it on
// its data-loading thread.
class ScriptEnumInterpreter : public qxp::XmlInterpreter {
  public:
    int Interpret(qxp::XmlNode const& root) override;

  private:
    // Adds the entry of one "Para" under key.
    void InterpretPara(qxp::XmlNode const& para, QXEnumMapKey& key);
};

}  // namespace NSQX_script
