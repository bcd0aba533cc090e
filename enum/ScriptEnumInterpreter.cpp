#include "enum/ScriptEnumInterpreter.h"

#include <cstdint>
#include <cstdlib>
#include <vector>

#include "qx_scriptutil/ScriptEnumCfg.h"

namespace NSQX_script {

namespace {

// A leading decimal number, truncated to 32 bits; 0 when there is none.
std::int32_t DecimalInt32(char const* text) {
    return static_cast<std::int32_t>(std::strtoll(text, nullptr, 10));
}

}  // namespace

int ScriptEnumInterpreter::Interpret(qxp::XmlNode const& root) {
    for (auto const& cmd : root.children) {
        if (cmd.name != "Cmd") continue;
        QXEnumMapKey key;
        if (char const* cmdId = cmd.Attribute("cmdid")) {
            key.m_cmdId = static_cast<std::uint32_t>(DecimalInt32(cmdId));
        }
        // The key carries over between the "Para" of one "Cmd": a missing attribute keeps the
        // previous one's value.
        for (auto const& para : cmd.children) {
            if (para.name != "Para") continue;
            if (char const* name = para.Attribute("name")) key.m_paraName = name;
            if (char const* extendId = para.Attribute("extendid")) {
                key.m_extendId = DecimalInt32(extendId);
            }
            InterpretPara(para, key);
        }
    }
    return 0;
}

void ScriptEnumInterpreter::InterpretPara(qxp::XmlNode const& para, QXEnumMapKey& key) {
    std::vector<QXEnumPair> pairs;
    for (auto const& value : para.children) {
        if (value.name != "Value") continue;
        QXEnumPair pair;
        if (char const* num = value.Attribute("num")) pair.m_value = DecimalInt32(num);
        if (char const* str = value.Attribute("str")) pair.m_name = str;
        pairs.push_back(std::move(pair));
    }
    ScriptEnumCfg::Instance()->AddEnumMap(key, pairs);
}

}  // namespace NSQX_script
