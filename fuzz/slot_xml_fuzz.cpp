// The bytes are a "slotcovert_cmd_cfg.xml", loaded into QXConvertDataStorage through the
// host's XML interpreter registry as the library loads it. For each record whose command name
// is one of a few registered names, a command is built whose NE ID and slot parameters carry
// values shaped by the record's own separators (numbers and words), and converted.
//
// Properties:
// - loading the same bytes twice, with the store emptied in between, gives the same records;
// - the records are the root's "cfg_cmd_desc" children, in order and with their names, each
//   with one locator per "neid_slotid_desc" that has children; a file the host cannot parse
//   gives none;
// - with conversion type 3 a converted command is the command as it was, types and texts;
// - with types 0 to 2 a converted command keeps its parameters, their names and the number of
//   their values; parameters that no locator names as a slot parameter keep their values
//   exactly; and a slot value without a digit is left as it was, since only numbers convert.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <list>
#include <set>
#include <string>
#include <vector>

#include "fuzz/FuzzFiles.h"
#include "fuzz/TreeEqual.h"
#include "qx_platform/Control.h"
#include "qx_platform/Xml.h"
#include "qx_scriptutil/CmdNameConvert.h"
#include "qx_scriptutil/QXConvertDataStorage.h"
#include "qx_scriptutil/QXScriptEnumMgr.h"
#include "slot/CommandSlotConvert.h"
#include "slot/SlotStoreAccess.h"

using namespace NSQX_script;

namespace {

constexpr char kCfgName[] = "slotcovert_cmd_cfg.xml";
constexpr char kEnumName[] = "script_enum.xml";
// Conversion switched on, its log left off.
constexpr char kEnumTable[] =
    "<ScriptEnum><Cmd cmdid=\"0\"><Para type=\"enum\" name=\"cvtswitch\" extendid=\"0\">"
    "<Value num=\"1\" str=\"slotcvtswitch\"/></Para></Cmd></ScriptEnum>";
const char* const kCommands[] = {"cfg-set-board", "cfg-add-xc", "cfg-onepara", "cfg-set"};
constexpr unsigned long kFirstCode = 7100;

void Cleanup() {
    QXScriptEnumMgr::Instance()->Release();
}

const std::string& Path() {
    static const std::string path = [] {
        const std::string dir = "/mem/qx_fuzz_slot/";
        fuzz_files::ServeFromMemory();
        qxp::SetAppRootPath(dir);
        if (!fuzz_files::Store(dir + kEnumName, kEnumTable, sizeof kEnumTable - 1)) std::abort();
        if (QXScriptEnumMgr::Instance()->Init(kEnumName) != 0) std::abort();
        for (unsigned long i = 0; i < 4; ++i) {
            CmdNameConvert::AddCmdNameIDMap(kCommands[i], kFirstCode + i);
        }
        std::atexit(Cleanup);
        return dir + kCfgName;
    }();
    return path;
}

bool SameNode(const SeparatorNode& a, const SeparatorNode& b) {
    if (a.m_sign != b.m_sign || a.m_positions.size() != b.m_positions.size()) return false;
    for (std::size_t i = 0; i < a.m_positions.size(); ++i) {
        const auto& x = a.m_positions[i];
        const auto& y = b.m_positions[i];
        if (x.first != y.first || !x.second != !y.second) return false;
        if (x.second && !SameNode(*x.second, *y.second)) return false;
    }
    return true;
}

bool SameRecords(const std::list<QXScriptCfgCmdInfo>& a, const std::list<QXScriptCfgCmdInfo>& b) {
    if (a.size() != b.size()) return false;
    for (auto x = a.begin(), y = b.begin(); x != a.end(); ++x, ++y) {
        if (x->m_cmdName != y->m_cmdName || x->m_locators.size() != y->m_locators.size())
            return false;
        for (auto l = x->m_locators.begin(), m = y->m_locators.begin(); l != x->m_locators.end();
             ++l, ++m) {
            if (l->m_neIdParaName != m->m_neIdParaName || l->m_slotParaName != m->m_slotParaName ||
                !SameNode(l->m_neIdSeparator, m->m_neIdSeparator) ||
                !SameNode(l->m_slotSeparator, m->m_slotSeparator))
                return false;
        }
    }
    return true;
}

std::list<QXScriptCfgCmdInfo> Load(const std::string& path) {
    QXConvertDataStorage* store = QXConvertDataStorage::Instance();
    store->Release();
    SlotStoreAccess::LoadFile(path);
    std::list<QXScriptCfgCmdInfo> records;
    store->GetSlotCmdInfo(records);
    return records;
}

bool RecordsFollowTree(const std::list<QXScriptCfgCmdInfo>& records, const qxp::XmlNode& root) {
    auto record = records.begin();
    for (const auto& child : root.children) {
        if (child.name != "cfg_cmd_desc") continue;
        if (record == records.end()) return false;
        const char* name = child.Attribute("cfg_cmd_name");
        if (record->m_cmdName != (name != nullptr ? name : "")) return false;
        std::size_t locators = 0;
        for (const auto& pair : child.children) {
            if (pair.name == "neid_slotid_desc" && !pair.children.empty()) ++locators;
        }
        if (record->m_locators.size() != locators) return false;
        ++record;
    }
    return record == records.end();
}

// A value shaped by the node: its pieces joined by its sign, targets filled with samples.
std::string Render(const SeparatorNode& node, const std::vector<const char*>& samples,
                   std::size_t& next, int depth) {
    std::size_t count = node.m_sign.empty() ? 1 : 2;
    for (const auto& pos : node.m_positions) {
        if (pos.first > 0 && static_cast<std::size_t>(pos.first) > count && pos.first <= 4)
            count = static_cast<std::size_t>(pos.first);
    }
    std::vector<std::string> pieces;
    for (std::size_t i = 0; i < count; ++i) pieces.emplace_back(samples[next++ % samples.size()]);
    for (const auto& pos : node.m_positions) {
        if (pos.first < 1 || static_cast<std::size_t>(pos.first) > count || !pos.second ||
            depth > 8)
            continue;
        pieces[pos.first - 1] = Render(*pos.second, samples, next, depth + 1);
    }
    std::string value;
    for (std::size_t i = 0; i < pieces.size(); ++i) {
        if (i != 0) value += node.m_sign;
        value += pieces[i];
    }
    return value;
}

MMLParaStruct Para(const std::string& name, std::vector<QXValue> values) {
    MMLParaStruct para;
    para.name = QXValue(name, false);
    para.values = std::move(values);
    return para;
}

TScriptCmd Command(unsigned long code, const QXScriptCfgCmdInfo& info, std::size_t seed) {
    static const std::vector<const char*> kSlots = {"203", "85", "10005", "131075", "x",
                                                    "080", "",   "7",     "65636",  "1 2"};
    static const std::vector<const char*> kNeIds = {"0", "9-3", "0-0", "ne"};
    std::vector<MMLParaStruct> paras;
    std::set<std::string> names;
    std::size_t next = seed;
    std::size_t index = 0;
    for (const NeSlotLocator& locator : info.m_locators) {
        if ((seed + index++) % 3 != 0 && names.insert(locator.m_neIdParaName).second) {
            paras.push_back(
                Para(locator.m_neIdParaName,
                     {QXValue(Render(locator.m_neIdSeparator, kNeIds, next, 0), false)}));
        }
        if (names.insert(locator.m_slotParaName).second) {
            std::string quoted = "\"" + Render(locator.m_slotSeparator, kSlots, next, 0) + "\"";
            paras.push_back(Para(locator.m_slotParaName,
                                 {QXValue(Render(locator.m_slotSeparator, kSlots, next, 0), false),
                                  QXValue(quoted, false), QXValue(long(next % 1000))}));
        }
    }
    if (names.insert("keep").second) {
        paras.push_back(Para("keep", {QXValue("203&\"85\"", false), QXValue(long(120))}));
    }
    return TScriptCmd(code, paras, 1);
}

void SetType(int type) {
    QXConvertDataStorage* store = QXConvertDataStorage::Instance();
    store->SetOperType(type == 2 ? 1 : 0);
    store->PrepareScriptOper(type == 3, type != 0);
}

void CheckConversion(const TScriptCmd& original, const QXScriptCfgCmdInfo& info) {
    std::set<std::string> slotNames;
    for (const NeSlotLocator& locator : info.m_locators) slotNames.insert(locator.m_slotParaName);
    for (int type = 0; type < 4; ++type) {
        SetType(type);
        TScriptCmd cmd(original);
        ConvertCommandSlots(cmd);
        const auto& before = *original.GetParaListPtr();
        const auto& after = *cmd.GetParaListPtr();
        if (type == 3) {
            if (!tree_equal::SameList(before, after)) std::abort();
            continue;
        }
        if (before.size() != after.size()) std::abort();
        for (std::size_t i = 0; i < before.size(); ++i) {
            if (!tree_equal::SameValue(before[i].name, after[i].name) ||
                before[i].values.size() != after[i].values.size())
                std::abort();
            const bool slot = slotNames.count(before[i].name.As_std_string()) != 0;
            for (std::size_t j = 0; j < before[i].values.size(); ++j) {
                const QXValue& was = before[i].values[j];
                const QXValue& is = after[i].values[j];
                const std::string text = was.As_std_string();
                const bool digits = text.find_first_of("0123456789") != std::string::npos;
                if ((!slot || !digits) && !tree_equal::SameValue(was, is)) std::abort();
            }
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string& path = Path();
    if (!fuzz_files::Store(path, data, size)) return 0;

    const std::list<QXScriptCfgCmdInfo> first = Load(path);
    const std::list<QXScriptCfgCmdInfo> records = Load(path);
    if (!SameRecords(first, records)) std::abort();
    qxp::XmlNode tree;
    if (qxp::XmlParseFile(path, tree) ? !RecordsFollowTree(records, tree) : !records.empty())
        std::abort();

    std::size_t seed = size;
    std::size_t built = 0;
    for (const QXScriptCfgCmdInfo& info : records) {
        for (unsigned long i = 0; i < 4 && built < 8; ++i) {
            if (info.m_cmdName != kCommands[i]) continue;
            // Conversion uses the first record of a name: check that one only.
            bool firstOfName = true;
            for (const QXScriptCfgCmdInfo& other : records) {
                if (&other == &info) break;
                if (other.m_cmdName == info.m_cmdName) firstOfName = false;
            }
            if (!firstOfName) continue;
            ++built;
            CheckConversion(Command(kFirstCode + i, info, seed++), info);
        }
    }
    QXConvertDataStorage::Instance()->Release();
    return 0;
}
