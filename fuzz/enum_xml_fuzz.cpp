// The bytes are a "script_enum.xml", loaded by both routes the library has: the manager's own
// expat reader (ScriptXMLParser, and through QXScriptEnumMgr::Init) and the interpreter that
// the host's static-data framework runs as "script_enum_interpreter".
//
// Properties:
// - both routes build the same map, entry for entry in order, for every document they are
//   meant to agree on: well formed; "Cmd" only as children of the root, "Para" only as
//   children of a "Cmd", "Value" only as children of a "Para"; every "Para" of type "enum";
//   numbers that are decimal through and through; and no "Para" that relies on the
//   interpreter's carrying over of the previous "Para"'s name or extend ID. Elsewhere they
//   differ by design (type filter, carried keys, leading-number reading), and only have to
//   survive;
// - Init's table is the reader's map plus the three user settings (value 1, nothing is
//   configured here), which replace the first entry of their keys;
// - on that table, for the first entry of every key each pair's name converts (ValueS2C) to
//   the code of the first pair of that name and each code (ValueC2S) to the name of the first
//   pair with that code; later entries with an equal key are never consulted, so their pairs
//   convert only as the first entry's pairs do; after a failed Init nothing converts.
#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <string>
#include <vector>

#include "enum/ScriptXMLParser.h"
#include "fuzz/FuzzFiles.h"
#include "qx_platform/Control.h"
#include "qx_platform/Files.h"
#include "qx_platform/StaticData.h"
#include "qx_platform/Strings.h"
#include "qx_platform/Xml.h"
#include "qx_scriptutil/QXScriptEnumMgr.h"
#include "qx_scriptutil/ScriptEnumCfg.h"

using namespace NSQX_script;

namespace {

constexpr char kFileName[] = "script_enum.xml";

const std::string& Path() {
    static const std::string path = [] {
        const std::string dir = "/mem/qx_fuzz_enum/";
        fuzz_files::ServeFromMemory();
        qxp::SetAppRootPath(dir);
        // The reader reports malformed files on standard output.
        const int null = open("/dev/null", O_WRONLY);
        if (null >= 0) dup2(null, STDOUT_FILENO);
        return dir + kFileName;
    }();
    return path;
}

bool SameMap(const EnumMap& a, const EnumMap& b) {
    if (a.size() != b.size()) return false;
    for (auto x = a.begin(), y = b.begin(); x != a.end(); ++x, ++y) {
        if (!(x->first == y->first) || x->second.size() != y->second.size()) return false;
        for (std::size_t i = 0; i < x->second.size(); ++i) {
            if (x->second[i].m_value != y->second[i].m_value ||
                x->second[i].m_name != y->second[i].m_name)
                return false;
        }
    }
    return true;
}

bool HasRouteElement(const qxp::XmlNode& node) {
    if (node.name == "Cmd" || node.name == "Para" || node.name == "Value") return true;
    for (const auto& child : node.children) {
        if (HasRouteElement(child)) return true;
    }
    return false;
}

bool Decimal(const char* text) {
    long value = 0;
    return text == nullptr || qxp::QXStr2Int(text, value, 10);
}

// Children other than the expected one may be anything that holds no route element.
bool OnlyExpected(const qxp::XmlNode& node, const char* expected) {
    for (const auto& child : node.children) {
        if (child.name != expected && HasRouteElement(child)) return false;
    }
    return true;
}

bool RoutesMustAgree(const qxp::XmlNode& root) {
    if (root.name == "Cmd" || root.name == "Para" || root.name == "Value") return false;
    if (!OnlyExpected(root, "Cmd")) return false;
    for (const auto& cmd : root.children) {
        if (cmd.name != "Cmd") continue;
        if (!Decimal(cmd.Attribute("cmdid")) || !OnlyExpected(cmd, "Para")) return false;
        std::string carriedName;
        long carriedExtend = 0;
        for (const auto& para : cmd.children) {
            if (para.name != "Para") continue;
            const char* type = para.Attribute("type");
            const char* name = para.Attribute("name");
            const char* extend = para.Attribute("extendid");
            if (type == nullptr || std::string(type) != "enum" || !Decimal(extend)) return false;
            if (name == nullptr && !carriedName.empty()) return false;
            if (name != nullptr) carriedName = name;
            long value = 0;
            if (extend != nullptr) qxp::QXStr2Int(extend, value, 10);
            if (extend == nullptr && carriedExtend != 0) return false;
            carriedExtend = static_cast<std::int32_t>(value);
            if (!OnlyExpected(para, "Value")) return false;
            for (const auto& v : para.children) {
                if (v.name != "Value") continue;
                if (!Decimal(v.Attribute("num")) || !OnlyExpected(v, "")) return false;
            }
        }
    }
    return true;
}

void EmptyHostCopy() {
    ScriptEnumCfg::Instance()->GetTmpImpl();
    ScriptEnumCfg::Instance()->SwapInst();
}

bool IsSettingKey(const QXEnumMapKey& key) {
    return key.m_cmdId == 0 && key.m_extendId == 0 &&
           (key.m_paraName == "encoding" || key.m_paraName == "slotversion" ||
            key.m_paraName == "bExportScriptToRestoreNEdata");
}

void CheckLookups(QXScriptEnumMgr& mgr, const EnumMap& table) {
    for (const auto& entry : table) {
        const QXEnumMapKey& key = entry.first;
        const auto& first =
            FindFirstEnum(table, QXEnumKeyView{key.m_cmdId, key.m_paraName, key.m_extendId})
                ->second;
        for (const QXEnumPair& pair : entry.second) {
            const QXEnumPair* byName = nullptr;
            const QXEnumPair* byCode = nullptr;
            for (const QXEnumPair& p : first) {
                if (byName == nullptr && p.m_name == pair.m_name) byName = &p;
                if (byCode == nullptr && p.m_value == pair.m_value) byCode = &p;
            }
            long code = 12345;
            const int s2c =
                mgr.ValueS2C(code, pair.m_name, key.m_cmdId, key.m_paraName, key.m_extendId);
            if (s2c != (byName != nullptr ? 1 : 0)) std::abort();
            if (code != (byName != nullptr ? byName->m_value : 12345)) std::abort();
            std::string name = "unchanged";
            const int c2s =
                mgr.ValueC2S(name, pair.m_value, key.m_cmdId, key.m_paraName, key.m_extendId);
            if (c2s != (byCode != nullptr ? 1 : 0)) std::abort();
            if (name != (byCode != nullptr ? byCode->m_name : std::string("unchanged")))
                std::abort();
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string& path = Path();
    if (!fuzz_files::Store(path, data, size)) return 0;

    EnumMap read;
    bool readOk = false;
    {
        ScriptXMLParser parser(&read);
        std::FILE* stream = qxp::OrinFileOpen(path.c_str(), "r");
        if (!parser.Create() || stream == nullptr) std::abort();
        try {
            readOk = parser.ParseStream(stream, path.c_str());
        } catch (...) {
            std::abort();
        }
        qxp::OrinFileClose(stream);
    }

    EmptyHostCopy();
    qxp::StaticDataFramework::Instance()->Load("qx_scriptutil", {path}, "script_enum_interpreter");
    EnumMap hosted;
    if (EnumMap* map = ScriptEnumCfg::Instance()->GetEnumMap()) hosted = *map;
    qxp::XmlNode tree;
    if (qxp::XmlParseFile(path, tree)) {
        if (RoutesMustAgree(tree) && (!readOk || !SameMap(read, hosted))) std::abort();
    } else if (!hosted.empty()) {
        std::abort();
    }
    EmptyHostCopy();

    QXScriptEnumMgr* mgr = QXScriptEnumMgr::Instance();
    const bool loaded = mgr->Init(kFileName) == 0;
    if (loaded != readOk) std::abort();
    EnumMap table;
    QXScriptEnumMgr::CopyEnumMap(table);
    if (loaded) {
        EnumMap plain;
        for (const auto& e : table) {
            if (!IsSettingKey(e.first)) plain.insert(e);
        }
        EnumMap expected;
        for (const auto& e : read) {
            if (!IsSettingKey(e.first)) expected.insert(e);
        }
        for (const char* setting : {"encoding", "slotversion", "bExportScriptToRestoreNEdata"}) {
            const QXEnumMapKey key(0, setting, 0);
            const std::size_t before = read.count(key);
            const std::size_t after = table.count(key);
            if (after != (before == 0 ? 1 : before)) std::abort();
            const auto last = std::prev(table.upper_bound(key));
            if (last->second.size() != 1 || last->second[0].m_value != 1) std::abort();
        }
        if (!SameMap(plain, expected)) std::abort();
        CheckLookups(*mgr, table);
    } else {
        for (const auto& e : read) {
            long code = 0;
            for (const QXEnumPair& p : e.second) {
                if (mgr->ValueS2C(code, p.m_name, e.first.m_cmdId, e.first.m_paraName,
                                  e.first.m_extendId) != 0)
                    std::abort();
            }
        }
    }
    mgr->Release();
    return 0;
}
