#pragma once

#include "qx_platform/Xml.h"
#include "qx_scriptutil/QXConvertDataStorage.h"

namespace NSQX_script {

// Reads the element tree of "slotcovert_cmd_cfg.xml" and hands each command record to the
// store singleton. Holds no state of its own, so one object serves every parse.
class slotcovertcfgfileinterpreter : public qxp::XmlInterpreter {
  public:
    int Interpret(const qxp::XmlNode& root) override;

    // The record of one "cfg_cmd_desc" element.
    static QXScriptCfgCmdInfo ReadCmdDesc(const qxp::XmlNode& cmdDesc);
    // Fills node from the "separator_sign_desc" children of parent.
    static void ReadSeparators(const qxp::XmlNode& parent, SeparatorNode& node);
    // The stored form of a "separator_sign" value: "+" is "&", "++" is "&&".
    static std::string SignFromAttr(const char* text);
    // A "separator_pos" value: base 10, leading blanks and sign accepted, 0 when not a number.
    static std::int32_t PositionFromAttr(const char* text);
};

}  // namespace NSQX_script
