#include "CommandView.h"

#include <algorithm>
#include <cctype>
#include <cstdio>

#include <nlohmann/json.hpp>

#include "Findings.h"

namespace qxscript {

using NSQX_script::MMLParaStruct;
using NSQX_script::QXValue;

namespace {

constexpr long kInt32Max = 2147483647L;
constexpr long kUint32Max = 4294967295L;

}  // namespace

const char* TypeName(QXValue::Type type) {
    switch (type) {
        case QXValue::kString:
            return "string";
        case QXValue::kInt32:
            return "int32";
        case QXValue::kInt64:
            return "int64";
        case QXValue::kDouble:
            return "double";
        case QXValue::kEmpty:
            break;
    }
    return "empty";
}

std::string JsonText(const std::string& text) {
    return nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

namespace {

void AppendJsonValue(const QXValue& v, std::string& out) {
    out += "{\"type\":\"";
    out += TypeName(v.GetType());
    out += "\",\"value\":";
    switch (v.GetType()) {
        case QXValue::kString:
            out += JsonText(v.As_std_string());
            break;
        case QXValue::kInt32:
        case QXValue::kInt64:
            out += std::to_string(v.AsLong());
            break;
        case QXValue::kDouble:
            out += nlohmann::json(v.AsDouble()).dump();
            break;
        case QXValue::kEmpty:
            out += "null";
            break;
    }
    out += '}';
}

// Where a walk over a parameter tree stands: in a list of parameters, or between the groups
// of one parameter.
struct Frame {
    const std::vector<MMLParaStruct>* list = nullptr;  // null: between groups of para
    const MMLParaStruct* para = nullptr;
    std::size_t next = 0;  // the next parameter or group
};

std::string TextOf(const QXValue& v) {
    if (v.GetType() == QXValue::kString) return "\"" + EscapeForTerminal(v.As_std_string()) + "\"";
    return v.As_std_string();
}

// Whether the scanner would read the whole text as a number rather than an identifier.
bool LooksNumeric(const std::string& t) {
    std::size_t i = t[0] == '-' ? 1 : 0;
    if (t.size() > 2 && t[0] == '0' && t[1] == 'x') {
        for (i = 2; i < t.size() && std::isxdigit(static_cast<unsigned char>(t[i])); ++i) {
        }
        return i == t.size();
    }
    const std::size_t digits = i;
    while (i < t.size() && std::isdigit(static_cast<unsigned char>(t[i]))) ++i;
    if (i == digits) return false;
    if (i < t.size() && t[i] == '.') ++i;
    while (i < t.size() && std::isdigit(static_cast<unsigned char>(t[i]))) ++i;
    return i == t.size();
}

// Texts get their quotes back where needed. A 64-bit integer beyond the signed 32-bit range
// can only have been a 0x number (decimals are narrowed), and only as one does it read back.
void Quote(QXValue& v) {
    if (v.GetType() == QXValue::kString && !IsPlainWord(v.As_std_string())) {
        const std::string quoted = "\"" + v.As_std_string() + "\"";
        v.SetString(quoted.data(), quoted.size());
    } else if (v.GetType() == QXValue::kInt64 && v.AsLong() > kInt32Max &&
               v.AsLong() <= kUint32Max) {
        char hex[16];
        const int n =
            std::snprintf(hex, sizeof hex, "0x%lx", static_cast<unsigned long>(v.AsLong()));
        v.SetString(hex, static_cast<std::size_t>(n));
    }
}

QXValue RangeText(long first, long last) {
    return QXValue(std::to_string(first) + "&&" + std::to_string(last), false);
}

bool IsInt32(const QXValue& v) {
    return v.GetType() == QXValue::kInt32;
}

// Only a range yields 32-bit integers (a written number reads as 64 bits), so runs of
// ascending 32-bit values are written as ranges again; an empty list as an empty range.
void WriteRanges(std::vector<QXValue>& values) {
    if (values.empty()) {
        values.push_back(RangeText(1, 0));
        return;
    }
    std::vector<QXValue> out;
    out.reserve(values.size());
    for (std::size_t i = 0; i < values.size();) {
        if (!IsInt32(values[i])) {
            Quote(values[i]);
            out.push_back(std::move(values[i++]));
            continue;
        }
        std::size_t j = i + 1;
        while (j < values.size() && IsInt32(values[j]) &&
               values[j].AsLong() == values[j - 1].AsLong() + 1) {
            ++j;
        }
        out.push_back(RangeText(values[i].AsLong(), values[j - 1].AsLong()));
        i = j;
    }
    values.swap(out);
}

// Parameters named by a range ("1&&3=x") come as one parameter per number with equal values;
// they are joined into a range of names again. Other names are quoted where needed.
void JoinNameRanges(std::vector<MMLParaStruct>& paras) {
    std::vector<MMLParaStruct> out;
    out.reserve(paras.size());
    for (std::size_t i = 0; i < paras.size();) {
        MMLParaStruct& p = paras[i];
        if (IsInt32(p.name) && !p.objects.empty()) {  // "1" alone would read as 64 bits
            p.name = RangeText(p.name.AsLong(), p.name.AsLong());
            out.push_back(std::move(paras[i++]));
            continue;
        }
        if (!IsInt32(p.name)) {
            Quote(p.name);
            out.push_back(std::move(paras[i++]));
            continue;
        }
        std::size_t j = i + 1;
        while (j < paras.size() && IsInt32(paras[j].name) && paras[j].objects.empty() &&
               paras[j].name.AsLong() == paras[j - 1].name.AsLong() + 1 &&
               paras[j].values == p.values) {
            ++j;
        }
        p.name = RangeText(p.name.AsLong(), paras[j - 1].name.AsLong());
        out.push_back(std::move(p));
        i = j;
    }
    paras.swap(out);
}

}  // namespace

bool IsPlainWord(const std::string& text) {
    if (text.empty() || LooksNumeric(text)) return false;
    for (char c : text) {
        const bool ok = (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_' || c == '-';
        if (!ok) return false;
    }
    return true;
}

void PrepareForWriting(std::vector<MMLParaStruct>& paras) {
    std::vector<std::vector<MMLParaStruct>*> pending{&paras};
    while (!pending.empty()) {
        std::vector<MMLParaStruct>& list = *pending.back();
        pending.pop_back();
        JoinNameRanges(list);
        for (MMLParaStruct& p : list) {
            if (p.objects.empty()) {
                WriteRanges(p.values);
            } else {
                for (auto& group : p.objects) pending.push_back(&group);
            }
        }
    }
}

void AppendJson(const std::string& file, const std::string& name,
                const NSQX_script::TScriptCmd& cmd, std::string& out) {
    out += "{\"file\":" + JsonText(file) + ",\"line\":" + std::to_string(cmd.GetLineNo()) +
           ",\"name\":" + JsonText(name) + ",\"code\":" + std::to_string(cmd.GetCmdCode()) +
           ",\"parameters\":";
    AppendJsonParameters(cmd.GetParaList(), out);
    out += '}';
}

void AppendJsonParameters(const std::vector<MMLParaStruct>& paras, std::string& out) {
    out += '[';
    std::vector<Frame> stack{{&paras, nullptr, 0}};
    while (!stack.empty()) {
        Frame& top = stack.back();
        if (top.list != nullptr) {
            if (top.next == top.list->size()) {
                out += ']';
                stack.pop_back();
                continue;
            }
            if (top.next != 0) out += ',';
            const MMLParaStruct& p = (*top.list)[top.next++];
            out += "{\"name\":" + JsonText(p.name.As_std_string());
            if (p.name.GetType() != QXValue::kString) {
                out += ",\"nameType\":\"";
                out += TypeName(p.name.GetType());
                out += '"';
            }
            if (!p.values.empty()) {
                out += ",\"values\":[";
                for (std::size_t i = 0; i < p.values.size(); ++i) {
                    if (i != 0) out += ',';
                    AppendJsonValue(p.values[i], out);
                }
                out += ']';
            }
            if (p.objects.empty()) {
                out += '}';
                continue;
            }
            out += ",\"groups\":[";
            stack.push_back({nullptr, &p, 0});  // top is not used after this
        } else {
            if (top.next == top.para->objects.size()) {
                out += "]}";
                stack.pop_back();
                continue;
            }
            if (top.next != 0) out += ',';
            out += '[';
            const std::vector<MMLParaStruct>* group = &top.para->objects[top.next++];
            stack.push_back({group, nullptr, 0});
        }
    }
}

void AppendText(const std::string& file, const std::string& name,
                const NSQX_script::TScriptCmd& cmd, std::string& out) {
    out += EscapeForTerminal(file) + ":" + std::to_string(cmd.GetLineNo()) + ": " +
           EscapeForTerminal(name) + " (code " + std::to_string(cmd.GetCmdCode()) + ")\n";
    // Indented by the walk's depth: parameters of the command one step, each group two more.
    std::vector<Frame> stack{{&cmd.GetParaList(), nullptr, 0}};
    auto indent = [&](std::size_t depth) { out.append(std::min(depth, kMaxIndent) * 2, ' '); };
    while (!stack.empty()) {
        Frame& top = stack.back();
        const std::size_t depth = stack.size();
        if (top.list != nullptr) {
            if (top.next == top.list->size()) {
                stack.pop_back();
                continue;
            }
            const MMLParaStruct& p = (*top.list)[top.next++];
            indent(depth);
            out += EscapeForTerminal(p.name.As_std_string()) + " =";
            const char* sep = " ";
            for (const QXValue& v : p.values) {
                out += sep + TextOf(v) + " (" + TypeName(v.GetType()) + ")";
                sep = " & ";
            }
            out += '\n';
            if (!p.objects.empty()) stack.push_back({nullptr, &p, 0});
        } else {
            if (top.next == top.para->objects.size()) {
                stack.pop_back();
                continue;
            }
            indent(depth);
            out += "{group " + std::to_string(top.next + 1);
            if (depth > kMaxIndent) out += ", depth " + std::to_string(depth / 2);
            out += "}\n";
            const std::vector<MMLParaStruct>* group = &top.para->objects[top.next++];
            stack.push_back({group, nullptr, 0});
        }
    }
}

void AppendScriptParameters(const std::vector<MMLParaStruct>& paras, std::string& out) {
    std::vector<Frame> stack{{&paras, nullptr, 0}};
    while (!stack.empty()) {
        Frame& top = stack.back();
        if (top.list != nullptr) {
            if (top.next == top.list->size()) {
                stack.pop_back();
                if (!stack.empty()) out += '}';
                continue;
            }
            if (top.next != 0) out += ", ";
            const MMLParaStruct& p = (*top.list)[top.next++];
            out += p.name.As_std_string() + "=";
            for (std::size_t i = 0; i < p.values.size(); ++i) {
                if (i != 0) out += '&';
                out += p.values[i].As_std_string();
            }
            if (!p.objects.empty()) stack.push_back({nullptr, &p, 0});
        } else {
            if (top.next == top.para->objects.size()) {
                stack.pop_back();
                continue;
            }
            out += top.next != 0 ? "&{" : "{";
            const std::vector<MMLParaStruct>* group = &top.para->objects[top.next++];
            stack.push_back({group, nullptr, 0});
        }
    }
}

std::string ScriptText(const std::string& name, std::vector<MMLParaStruct> paras) {
    PrepareForWriting(paras);
    std::string out = ":" + name + ":{";
    AppendScriptParameters(paras, out);
    return out + "};";
}

}  // namespace qxscript
