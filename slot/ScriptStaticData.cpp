#include "qx_scriptutil/ScriptStaticData.h"

#include <algorithm>
#include <cstdio>

#include "cmd/CommandLayout.h"
#include "qx_platform/Files.h"
#include "qx_platform/Settings.h"
#include "qx_platform/Strings.h"
#include "qx_platform/Trace.h"
#include "qx_scriptutil/CmdNameConvert.h"
#include "qx_scriptutil/QXConvertDataStorage.h"
#include "qx_scriptutil/ScriptConfig.h"

namespace NSQX_script {

namespace {

constexpr char kTypeKey[] = "cfg-convertnetype";
constexpr char kNeParaCmd[] = "cfg-nepara";

std::string Trim(const std::string& text) {
    const char* blanks = " \t\r\n";
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string::npos) return std::string();
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

bool ReadWholeFile(const std::string& path, std::string& content) {
    FILE* file = qxp::OrinFileOpen(path.c_str(), "rb");
    if (file == nullptr) return false;
    char buffer[4096];
    std::size_t n = 0;
    while ((n = std::fread(buffer, 1, sizeof buffer, file)) > 0) content.append(buffer, n);
    const bool ok = std::ferror(file) == 0;
    qxp::OrinFileClose(file);
    return ok;
}

// The single value of the named parameter as text without its outer double quotes.
bool SingleText(const std::vector<MMLParaStruct>& paras, const char* name, std::string& text) {
    for (const MMLParaStruct& para : paras) {
        if (para.name.As_std_string() != name) continue;
        if (para.values.size() != 1) return false;
        text = para.values.front().As_std_string();
        if (text.size() >= 2 && text.front() == '"' && text.back() == '"') {
            text = text.substr(1, text.size() - 2);
        }
        return true;
    }
    return false;
}

bool AddEntry(const std::vector<MMLParaStruct>& paras, unsigned long lineNo,
              std::map<unsigned long, unsigned long>& devMap) {
    std::string neText;
    std::string deviceText;
    unsigned long neId = 0;
    unsigned long device = 0;
    if (!SingleText(paras, "neid", neText) || !qxp::QXStr2NEID(neText.c_str(), neId) || neId == 0 ||
        !SingleText(paras, "device", deviceText) || !qxp::QXStr2UInt(deviceText.c_str(), device)) {
        qxp::QXTrace(
            qxp::kTraceWarning,
            "cfg-nepara at line %lu has no usable neid and device, neid \"%s\", device \"%s\"",
            lineNo, neText.c_str(), deviceText.c_str());
        return false;
    }
    devMap[neId] = device;
    return true;
}

}  // namespace

std::string ScriptDataMgr::SupportNETypePath() {
    return ScriptConfigPath(ScriptConfigFile::kSlotNETypes);
}

bool ScriptDataMgr::GetSupportNEType(std::vector<unsigned long>& types) {
    return ReadSupportNEType(SupportNETypePath(), types);
}

bool ScriptDataMgr::ReadSupportNEType(const std::string& path, std::vector<unsigned long>& types) {
    types.clear();
    std::string content;
    if (!ReadWholeFile(path, content)) {
        qxp::QXTrace(qxp::kTraceWarning, "Cannot read NE types from %s, error %d", path.c_str(),
                     qxp::OrinGetLastError());
        return false;
    }
    std::size_t start = 0;
    unsigned long lineNo = 0;
    while (start < content.size()) {
        std::size_t end = content.find('\n', start);
        if (end == std::string::npos) end = content.size();
        const std::string line = Trim(content.substr(start, end - start));
        start = end + 1;
        ++lineNo;
        if (line.empty() || line[0] == '#' || line.compare(0, 2, "//") == 0) continue;
        const std::size_t eq = line.find('=');
        if (eq == std::string::npos || Trim(line.substr(0, eq)) != kTypeKey) continue;

        const std::string value = line.substr(eq + 1);
        std::size_t itemStart = 0;
        for (;;) {
            const std::size_t amp = value.find('&', itemStart);
            const std::string item = Trim(value.substr(
                itemStart, amp == std::string::npos ? std::string::npos : amp - itemStart));
            unsigned long type = 0;
            // The reader takes a sign; an NE type has none.
            if (item.empty() || item[0] == '-' || item[0] == '+' ||
                !qxp::QXStr2UInt(item.c_str(), type)) {
                qxp::QXTrace(qxp::kTraceWarning, "Bad NE type \"%s\" in %s at line %lu",
                             item.c_str(), path.c_str(), lineNo);
            } else if (std::find(types.begin(), types.end(), type) == types.end()) {
                types.push_back(type);
            }
            if (amp == std::string::npos) break;
            itemStart = amp + 1;
        }
        return true;
    }
    return false;
}

bool ScriptDataMgr::AddDevMapEntry(const MMLCmdStruct& cmd,
                                   std::map<unsigned long, unsigned long>& devMap) {
    if (cmd.cmdName != kNeParaCmd) return false;
    return AddEntry(cmd.paraList, 0, devMap);
}

bool ScriptDataMgr::AddDevMapEntry(const TScriptCmdRef& cmd,
                                   std::map<unsigned long, unsigned long>& devMap) {
    std::string name;
    const std::vector<MMLParaStruct>* paras = cmd.GetParaListPtr();
    if (paras == nullptr || !CmdNameConvert::GetCorrespondCmdName(name, cmd.GetCmdCode()) ||
        name != kNeParaCmd) {
        return false;
    }
    return AddEntry(*paras, cmd.GetLineNo(), devMap);
}

void ScriptDataMgr::BuildDevMap(const std::vector<MMLCmdStruct>& cmds,
                                std::map<unsigned long, unsigned long>& devMap) {
    for (const MMLCmdStruct& cmd : cmds) AddDevMapEntry(cmd, devMap);
}

void ScriptDataMgr::BuildDevMap(const std::vector<TScriptCmd>& cmds,
                                std::map<unsigned long, unsigned long>& devMap) {
    for (const TScriptCmd& cmd : cmds) AddDevMapEntry(cmd, devMap);
}

QXScriptStaticDataMgr::QXScriptStaticDataMgr(std::string scriptLocation, int operType)
    : m_scriptLocation(std::move(scriptLocation)), m_operType(operType) {
    QXConvertDataStorage* store = QXConvertDataStorage::Instance();
    store->Init();
    store->SetOperType(operType);
    std::vector<unsigned long> types;
    ScriptDataMgr::GetSupportNEType(types);
    store->SetSupportNEType(types);
    if (operType == 0) {
        store->SetScriptONELanEn(false);
        qxp::QXTrace(qxp::kTraceInfo, "The Language of ONE has been changed to %d", 0);
    }
}

void QXScriptStaticDataMgr::LoadDevMap(const std::vector<MMLCmdStruct>& cmds) {
    std::map<unsigned long, unsigned long> devMap;
    ScriptDataMgr::BuildDevMap(cmds, devMap);
    QXConvertDataStorage::Instance()->SetDevMap(devMap);
}

void QXScriptStaticDataMgr::LoadDevMap(const std::vector<TScriptCmd>& cmds) {
    std::map<unsigned long, unsigned long> devMap;
    ScriptDataMgr::BuildDevMap(cmds, devMap);
    QXConvertDataStorage::Instance()->SetDevMap(devMap);
}

}  // namespace NSQX_script
