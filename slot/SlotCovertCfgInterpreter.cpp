#include "slot/SlotCovertCfgInterpreter.h"

#include <climits>
#include <cstdlib>
#include <cstring>

namespace NSQX_script {

namespace {

bool NameContains(const qxp::XmlNode& node, const char* part) {
    return node.name.find(part) != std::string::npos;
}

std::string AttrOrEmpty(const qxp::XmlNode& node, const char* name) {
    const char* value = node.Attribute(name);
    return value ? std::string(value) : std::string();
}

}  // namespace

int slotcovertcfgfileinterpreter::Interpret(const qxp::XmlNode& root) {
    QXConvertDataStorage* store = QXConvertDataStorage::Instance();
    for (const qxp::XmlNode& child : root.children) {
        if (child.name != "cfg_cmd_desc") continue;
        QXScriptCfgCmdInfo info = ReadCmdDesc(child);
        store->AddSlotCmdInfo(info);
    }
    return 0;
}

QXScriptCfgCmdInfo slotcovertcfgfileinterpreter::ReadCmdDesc(const qxp::XmlNode& cmdDesc) {
    QXScriptCfgCmdInfo info;
    info.m_cmdName = AttrOrEmpty(cmdDesc, "cfg_cmd_name");
    for (const qxp::XmlNode& pair : cmdDesc.children) {
        if (pair.name != "neid_slotid_desc" || pair.children.empty()) continue;
        NeSlotLocator locator;
        for (const qxp::XmlNode& part : pair.children) {
            if (part.name == "neid_desc") {
                locator.m_neIdParaName = AttrOrEmpty(part, "neid_name");
                ReadSeparators(part, locator.m_neIdSeparator);
            } else if (part.name == "slotid_desc") {
                locator.m_slotParaName = AttrOrEmpty(part, "slotid_name");
                ReadSeparators(part, locator.m_slotSeparator);
            }
        }
        info.m_locators.push_back(std::move(locator));
    }
    return info;
}

void slotcovertcfgfileinterpreter::ReadSeparators(const qxp::XmlNode& parent, SeparatorNode& node) {
    for (const qxp::XmlNode& signDesc : parent.children) {
        if (!NameContains(signDesc, "separator_sign_desc")) continue;
        // Several sign elements write into one node: the last sign present wins.
        if (const char* sign = signDesc.Attribute("separator_sign"))
            node.m_sign = SignFromAttr(sign);
        for (const qxp::XmlNode& entry : signDesc.children) {
            if (!NameContains(entry, "separator_pos_desc")) {
                // Kept as found in the files in use: any other child still names piece 0.
                node.m_positions.emplace_back(0, nullptr);
                continue;
            }
            auto deeper = std::make_unique<SeparatorNode>();
            ReadSeparators(entry, *deeper);
            node.m_positions.emplace_back(PositionFromAttr(entry.Attribute("separator_pos")),
                                          std::move(deeper));
        }
    }
}

std::string slotcovertcfgfileinterpreter::SignFromAttr(const char* text) {
    // XML attributes make "&" awkward, so the file spells it with plus signs.
    if (std::strcmp(text, "+") == 0) return "&";
    if (std::strcmp(text, "++") == 0) return "&&";
    return text;
}

std::int32_t slotcovertcfgfileinterpreter::PositionFromAttr(const char* text) {
    if (text == nullptr) return 0;
    const long value = std::strtol(text, nullptr, 10);
    if (value > INT_MAX) return INT_MAX;
    if (value < INT_MIN) return INT_MIN;
    return static_cast<std::int32_t>(value);
}

}  // namespace NSQX_script
