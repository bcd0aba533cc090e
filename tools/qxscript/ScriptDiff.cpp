#include "ScriptDiff.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <deque>
#include <fstream>
#include <functional>
#include <sstream>
#include <unordered_map>

#include "CommandView.h"
#include "FileChecks.h"
#include "ScriptSource.h"

namespace qxscript {

using NSQX_script::MMLParaStruct;
using NSQX_script::QXValue;
using ParaList = std::vector<MMLParaStruct>;

namespace {

std::string Lower(std::string s) {
    std::transform(s.begin(), s.end(), s.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return s;
}

bool ValueLess(const QXValue& x, const QXValue& y) {
    if (x.GetType() != y.GetType()) return x.GetType() < y.GetType();
    switch (x.GetType()) {
        case QXValue::kString:
            return x.StringRef() < y.StringRef();
        case QXValue::kDouble:
            return x.AsDouble() < y.AsDouble();
        default:
            return x.AsLong() < y.AsLong();
    }
}

// The values as compared: as they stand, or sorted without repeats when "&" lists are sets.
std::vector<QXValue> Compared(const std::vector<QXValue>& values, bool unordered) {
    std::vector<QXValue> out = values;
    if (unordered) {
        std::sort(out.begin(), out.end(), ValueLess);
        out.erase(std::unique(out.begin(), out.end()), out.end());
    }
    return out;
}

bool SameValues(const std::vector<QXValue>& x, const std::vector<QXValue>& y, bool unordered) {
    if (!unordered) return x == y;
    return Compared(x, unordered) == Compared(y, unordered);
}

void AppendCanon(const QXValue& v, std::string& out) {
    switch (v.GetType()) {
        case QXValue::kString:
            out += 's' + std::to_string(v.StringRef().size()) + ':' + v.As_std_string();
            return;
        case QXValue::kDouble: {
            char buf[64];
            std::snprintf(buf, sizeof buf, "d%a;", v.AsDouble() == 0 ? 0.0 : v.AsDouble());
            out += buf;
            return;
        }
        case QXValue::kInt32:
            out += 'i' + std::to_string(v.AsLong()) + ';';
            return;
        case QXValue::kInt64:
            out += 'l' + std::to_string(v.AsLong()) + ';';
            return;
        case QXValue::kEmpty:
            out += 'e';
            return;
    }
}

std::string Canon(const MMLParaStruct& p, bool unordered);

// Parameters match by name and occurrence, not by position: a list's form is the sorted
// forms of its parameters.
std::string CanonList(const ParaList& list, bool unordered) {
    std::vector<std::string> forms;
    forms.reserve(list.size());
    for (const MMLParaStruct& p : list) forms.push_back(Canon(p, unordered));
    std::sort(forms.begin(), forms.end());
    std::string out = "{";
    for (const std::string& f : forms) out += std::to_string(f.size()) + ':' + f;
    return out + "}";
}

// A text equal for two parameters exactly when they compare equal.
std::string Canon(const MMLParaStruct& p, bool unordered) {
    std::string out;
    AppendCanon(p.name, out);
    out += '=';
    for (const QXValue& v : Compared(p.values, unordered)) AppendCanon(v, out);
    for (const ParaList& group : p.objects) out += CanonList(group, unordered);
    return out;
}

const MMLParaStruct* FindByName(const ParaList& list, const std::string& name) {
    for (const MMLParaStruct& p : list) {
        if (p.name.As_std_string() == name) return &p;
    }
    return nullptr;
}

// The parameters that identify a command: its key parameters (a missing one counts as
// missing), else its first one.
std::vector<const MMLParaStruct*> Identity(unsigned long code, const ParaList& paras,
                                           const DiffSettings& settings) {
    std::vector<const MMLParaStruct*> out;
    const std::vector<std::string>* keys =
        settings.keys != nullptr ? settings.keys->Of(CommandName(code)) : nullptr;
    if (keys != nullptr) {
        for (const std::string& key : *keys) out.push_back(FindByName(paras, key));
    } else if (!paras.empty()) {
        out.push_back(&paras.front());
    }
    return out;
}

std::string NameKey(const QXValue& name) {
    std::string out;
    AppendCanon(name, out);
    return out;
}

MMLParaStruct OneGroup(const MMLParaStruct& p, std::size_t g) {
    MMLParaStruct out;
    out.name = p.name;
    out.objects.push_back(p.objects[g]);
    return out;
}

void DiffLists(const ParaList& a, const ParaList& b, const std::string& prefix, bool unordered,
               std::vector<ParaChange>& out);

void DiffPair(const MMLParaStruct& a, const MMLParaStruct& b, const std::string& path,
              bool unordered, std::vector<ParaChange>& out) {
    const bool aGroups = !a.objects.empty();
    const bool bGroups = !b.objects.empty();
    if (aGroups && bGroups) {
        const std::size_t common = std::min(a.objects.size(), b.objects.size());
        for (std::size_t g = 0; g < common; ++g) {
            DiffLists(a.objects[g], b.objects[g], path + "{" + std::to_string(g + 1) + "}.",
                      unordered, out);
        }
        for (std::size_t g = common; g < a.objects.size(); ++g) {
            out.push_back({path + "{" + std::to_string(g + 1) + "}", true, false, OneGroup(a, g),
                           MMLParaStruct()});
        }
        for (std::size_t g = common; g < b.objects.size(); ++g) {
            out.push_back({path + "{" + std::to_string(g + 1) + "}", false, true, MMLParaStruct(),
                           OneGroup(b, g)});
        }
        return;
    }
    if (aGroups == bGroups && SameValues(a.values, b.values, unordered)) return;
    out.push_back({path, true, true, a, b});
}

void DiffLists(const ParaList& a, const ParaList& b, const std::string& prefix, bool unordered,
               std::vector<ParaChange>& out) {
    std::unordered_map<std::string, std::deque<std::size_t>> inB;
    for (std::size_t i = 0; i < b.size(); ++i) inB[NameKey(b[i].name)].push_back(i);
    std::vector<bool> used(b.size(), false);
    for (const MMLParaStruct& p : a) {
        const std::string path = prefix + p.name.As_std_string();
        auto it = inB.find(NameKey(p.name));
        if (it == inB.end() || it->second.empty()) {
            out.push_back({path, true, false, p, MMLParaStruct()});
            continue;
        }
        const std::size_t j = it->second.front();
        it->second.pop_front();
        used[j] = true;
        DiffPair(p, b[j], path, unordered, out);
    }
    for (std::size_t j = 0; j < b.size(); ++j) {
        if (!used[j]) {
            out.push_back({prefix + b[j].name.As_std_string(), false, true, MMLParaStruct(), b[j]});
        }
    }
}

}  // namespace

bool DiffKeys::Load(const std::string& path, std::string& error) {
    if (!CheckReadableFile(path, error)) return false;
    std::ifstream in(path);
    std::string line;
    for (unsigned long lineNo = 1; std::getline(in, line); ++lineNo) {
        std::istringstream fields(line);
        std::string name;
        std::string params;
        std::string extra;
        if (!(fields >> name) || name[0] == '#') continue;
        if (!(fields >> params) || (fields >> extra)) {
            error = path + ":" + std::to_string(lineNo) +
                    ": error: expected \"cmd-name param1,param2\"";
            return false;
        }
        std::vector<std::string>& keys = m_keys[Lower(name)];
        keys.clear();
        std::istringstream list(params);
        for (std::string key; std::getline(list, key, ',');) {
            if (key.empty()) {
                error = path + ":" + std::to_string(lineNo) + ": error: empty parameter name";
                return false;
            }
            keys.push_back(Lower(key));
        }
    }
    if (in.bad()) {
        error = path + ": cannot be read";
        return false;
    }
    return true;
}

const std::vector<std::string>* DiffKeys::Of(const std::string& cmdName) const {
    const auto it = m_keys.find(cmdName);
    return it == m_keys.end() ? nullptr : &it->second;
}

std::vector<CommandChange> CompareScripts(const std::vector<DiffEntry>& a,
                                          const std::vector<DiffEntry>& b,
                                          const DiffSettings& settings) {
    const bool unordered = settings.unorderedValues;
    std::vector<bool> matchedA(a.size(), false);
    std::vector<bool> matchedB(b.size(), false);

    // Equal commands cancel out, each once.
    std::unordered_multimap<std::size_t, std::size_t> byHash;
    byHash.reserve(b.size());
    for (std::size_t j = 0; j < b.size(); ++j) byHash.emplace(b[j].hash, j);
    std::vector<ParaChange> scratch;
    for (std::size_t i = 0; i < a.size(); ++i) {
        auto range = byHash.equal_range(a[i].hash);
        for (auto it = range.first; it != range.second; ++it) {
            const std::size_t j = it->second;
            if (a[i].code != b[j].code) continue;
            scratch.clear();
            if (a[i].packed != b[j].packed) {  // equal in another order, or only by hash
                DiffLists(UnpackParameters(a[i].packed), UnpackParameters(b[j].packed), "",
                          unordered, scratch);
            }
            if (!scratch.empty()) continue;
            matchedA[i] = matchedB[j] = true;
            byHash.erase(it);
            break;
        }
    }

    // What is left pairs by identity, in file order.
    std::unordered_map<std::string, std::deque<std::size_t>> byIdentity;
    for (std::size_t j = 0; j < b.size(); ++j) {
        if (!matchedB[j]) byIdentity[b[j].identity].push_back(j);
    }
    std::vector<CommandChange> out;
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (matchedA[i]) continue;
        CommandChange change;
        change.a = i;
        auto it = byIdentity.find(a[i].identity);
        if (it == byIdentity.end() || it->second.empty()) {
            change.kind = CommandChange::kRemoved;
        } else {
            change.kind = CommandChange::kChanged;
            change.b = it->second.front();
            it->second.pop_front();
            matchedB[change.b] = true;
            DiffLists(UnpackParameters(a[i].packed), UnpackParameters(b[change.b].packed), "",
                      unordered, change.changes);
        }
        out.push_back(std::move(change));
    }
    for (std::size_t j = 0; j < b.size(); ++j) {
        if (matchedB[j]) continue;
        CommandChange change;
        change.kind = CommandChange::kAdded;
        change.b = j;
        out.push_back(std::move(change));
    }
    return out;
}

DiffEntry MakeDiffEntry(unsigned long code, unsigned long line, const ParaList& paras,
                        const DiffSettings& settings) {
    DiffEntry e;
    e.code = code;
    e.line = line;
    e.hash = std::hash<unsigned long>()(code);
    for (const MMLParaStruct& p : paras) {
        e.hash += std::hash<std::string>()(Canon(p, settings.unorderedValues));
    }
    e.identity = std::to_string(code) + ':';
    for (const MMLParaStruct* p : Identity(code, paras, settings)) {
        e.identity += p != nullptr ? Canon(*p, settings.unorderedValues) : std::string("-");
        e.identity += '\n';
    }
    e.identity.shrink_to_fit();
    e.packed = PackParameters(paras);
    return e;
}

std::string IdentityText(const DiffEntry& cmd, const DiffSettings& settings) {
    const ParaList paras = UnpackParameters(cmd.packed);
    std::vector<MMLParaStruct> shown;
    for (const MMLParaStruct* p : Identity(cmd.code, paras, settings)) {
        if (p != nullptr) shown.push_back(*p);
    }
    PrepareForWriting(shown);
    std::string out;
    AppendScriptParameters(shown, out);
    return out;
}

std::size_t NestingDepth(const ParaList& paras) {
    std::size_t deepest = 0;
    std::vector<std::pair<const ParaList*, std::size_t>> pending{{&paras, 0}};
    while (!pending.empty()) {
        const auto [list, depth] = pending.back();
        pending.pop_back();
        deepest = std::max(deepest, depth);
        for (const MMLParaStruct& p : *list) {
            for (const ParaList& group : p.objects) pending.push_back({&group, depth + 1});
        }
    }
    return deepest;
}

}  // namespace qxscript
