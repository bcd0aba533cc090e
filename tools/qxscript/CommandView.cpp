#include "CommandView.h"

#include <cctype>

namespace qxscript {

using NSQX_script::MMLParaStruct;
using NSQX_script::QXValue;

namespace {

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

nlohmann::ordered_json ValueToJson(const QXValue& v) {
    nlohmann::ordered_json out = {{"type", TypeName(v.GetType())}};
    switch (v.GetType()) {
        case QXValue::kString:
            out["value"] = v.StringRef();
            break;
        case QXValue::kInt32:
        case QXValue::kInt64:
            out["value"] = v.AsLong();
            break;
        case QXValue::kDouble:
            out["value"] = v.AsDouble();
            break;
        case QXValue::kEmpty:
            out["value"] = nullptr;
            break;
    }
    return out;
}

nlohmann::ordered_json ParasToJson(const std::vector<MMLParaStruct>& paras) {
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (const MMLParaStruct& p : paras) {
        nlohmann::ordered_json para = {{"name", p.name.As_std_string()}};
        if (!p.values.empty()) {
            nlohmann::ordered_json& values = para["values"] = nlohmann::ordered_json::array();
            for (const QXValue& v : p.values) values.push_back(ValueToJson(v));
        }
        if (!p.objects.empty()) {
            nlohmann::ordered_json& groups = para["groups"] = nlohmann::ordered_json::array();
            for (const auto& group : p.objects) groups.push_back(ParasToJson(group));
        }
        list.push_back(std::move(para));
    }
    return list;
}

void ParasToText(const std::vector<MMLParaStruct>& paras, int depth, std::string& out) {
    const std::string indent(static_cast<std::size_t>(depth) * 2, ' ');
    for (const MMLParaStruct& p : paras) {
        out += indent + p.name.As_std_string() + " =";
        const char* sep = " ";
        for (const QXValue& v : p.values) {
            out += sep;
            out +=
                v.GetType() == QXValue::kString ? "\"" + v.StringRef() + "\"" : v.As_std_string();
            out += std::string(" (") + TypeName(v.GetType()) + ")";
            sep = " & ";
        }
        out += '\n';
        for (std::size_t g = 0; g < p.objects.size(); ++g) {
            out += indent + "  {group " + std::to_string(g + 1) + "}\n";
            ParasToText(p.objects[g], depth + 2, out);
        }
    }
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

void Quote(QXValue& v) {
    if (v.GetType() == QXValue::kString && !IsPlainWord(v.StringRef())) {
        const std::string quoted = "\"" + v.StringRef() + "\"";
        v.SetString(quoted.data(), quoted.size());
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
        if (!IsInt32(p.name) || !p.objects.empty()) {
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
    JoinNameRanges(paras);
    for (MMLParaStruct& p : paras) {
        if (p.objects.empty()) {
            WriteRanges(p.values);
        } else {
            for (auto& group : p.objects) PrepareForWriting(group);
        }
    }
}

nlohmann::ordered_json CommandToJson(const std::string& file, const std::string& name,
                                     const NSQX_script::TScriptCmd& cmd) {
    return {{"file", file},
            {"line", cmd.GetLineNo()},
            {"name", name},
            {"code", cmd.GetCmdCode()},
            {"parameters", ParasToJson(cmd.GetParaList())}};
}

std::string CommandToText(const std::string& file, const std::string& name,
                          const NSQX_script::TScriptCmd& cmd) {
    std::string out = file + ":" + std::to_string(cmd.GetLineNo()) + ": " + name + " (code " +
                      std::to_string(cmd.GetCmdCode()) + ")\n";
    ParasToText(cmd.GetParaList(), 1, out);
    return out;
}

}  // namespace qxscript
