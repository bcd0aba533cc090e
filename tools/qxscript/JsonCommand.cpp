#include "JsonCommand.h"

#include <cmath>
#include <cstdio>

#include <nlohmann/json.hpp>

#include "CommandView.h"

namespace qxscript {

using NSQX_script::MMLParaStruct;
using NSQX_script::QXValue;
using Json = nlohmann::json;

namespace {

constexpr long kInt32Min = -2147483648L;
constexpr long kInt32Max = 2147483647L;
constexpr long kUint32Max = 4294967295L;

// A JSON integer as a long; false for other kinds and for unsigned values beyond long.
bool JsonInteger(const Json& j, long& out) {
    if (j.is_number_unsigned()) {
        const auto u = j.get<std::uint64_t>();
        if (u > static_cast<std::uint64_t>(kUint32Max)) {
            out = kUint32Max + 1;  // out of every range we take
        } else {
            out = static_cast<long>(u);
        }
        return true;
    }
    if (!j.is_number_integer()) return false;
    out = j.get<long>();
    return true;
}

bool IntegerValue(const Json& j, QXValue::Type type, QXValue& v, std::string& why) {
    long n = 0;
    if (!JsonInteger(j, n)) {
        why = std::string("an ") + TypeName(type) + " value must be a JSON integer";
        return false;
    }
    if (type == QXValue::kInt32) {
        if (n < kInt32Min || n > kInt32Max) {
            why = "int32 value " + j.dump() + " does not fit 32 bits";
            return false;
        }
        v.SetInt32(static_cast<int>(n));
        return true;
    }
    if (n < kInt32Min || n > kUint32Max) {
        why = "int64 value " + j.dump() + " cannot be written: a script's integers lie between " +
              "-2147483648 and 4294967295";
        return false;
    }
    v.SetInt64(n);
    return true;
}

bool TypeOf(const std::string& name, QXValue::Type& type) {
    static const struct {
        const char* name;
        QXValue::Type type;
    } kTypes[] = {{"string", QXValue::kString},
                  {"int32", QXValue::kInt32},
                  {"int64", QXValue::kInt64},
                  {"double", QXValue::kDouble}};
    for (const auto& t : kTypes) {
        if (name == t.name) {
            type = t.type;
            return true;
        }
    }
    return false;
}

bool ReadValue(const Json& j, QXValue& v, std::string& why) {
    if (!j.is_object()) {
        why = "a value must be an object {\"type\", \"value\"}";
        return false;
    }
    const auto type = j.find("type");
    const auto value = j.find("value");
    if (type == j.end() || value == j.end() || !type->is_string()) {
        why = "a value needs \"type\" and \"value\"";
        return false;
    }
    QXValue::Type t = QXValue::kEmpty;
    if (!TypeOf(type->get_ref<const std::string&>(), t)) {
        why = "unknown value type " + type->dump() + " (string, int32, int64 or double)";
        return false;
    }
    switch (t) {
        case QXValue::kString: {
            if (!value->is_string()) {
                why = "a string value must be a JSON string";
                return false;
            }
            const std::string& text = value->get_ref<const std::string&>();
            if (!QuotableText(text, why)) return false;
            v.SetString(text.data(), text.size());
            return true;
        }
        case QXValue::kDouble:
            if (!value->is_number() || !std::isfinite(value->get<double>())) {
                why = "a double value must be a finite JSON number";
                return false;
            }
            v.SetDouble(value->get<double>());
            return true;
        default:
            return IntegerValue(*value, t, v, why);
    }
}

bool ReadName(const Json& p, QXValue& name, std::string& why) {
    const auto text = p.find("name");
    if (text == p.end() || !text->is_string()) {
        why = "a parameter needs a \"name\" text";
        return false;
    }
    const std::string& s = text->get_ref<const std::string&>();
    const auto type = p.find("nameType");
    QXValue::Type t = QXValue::kString;
    if (type != p.end() &&
        (!type->is_string() || !TypeOf(type->get<std::string>(), t) || t == QXValue::kDouble)) {
        why = "unknown name type " + type->dump() + " (string, int32 or int64)";
        return false;
    }
    if (t == QXValue::kString) {
        if (!QuotableText(s, why)) return false;
        name.SetString(s.data(), s.size());
        return true;
    }
    Json number;
    std::size_t used = 0;
    long n = 0;
    try {
        n = std::stol(s, &used);
    } catch (const std::exception&) {
        used = 0;
    }
    if (used == 0 || used != s.size()) {
        why = "the name \"" + s + "\" of type " + TypeName(t) + " is not a decimal integer";
        return false;
    }
    return IntegerValue(Json(n), t, name, why);
}

// Where the conversion stands: the JSON parameters of one list and the list they go into.
struct Frame {
    const Json* paras;
    std::size_t next;
    std::vector<MMLParaStruct>* into;
};

bool ReadParameters(const Json& top, std::vector<MMLParaStruct>& into, std::string& why) {
    if (!top.is_array()) {
        why = "\"parameters\" must be an array";
        return false;
    }
    std::vector<Frame> stack{{&top, 0, &into}};
    while (!stack.empty()) {
        Frame& f = stack.back();
        if (f.next == f.paras->size()) {
            stack.pop_back();
            continue;
        }
        const Json& p = (*f.paras)[f.next++];
        if (!p.is_object()) {
            why = "a parameter must be an object";
            return false;
        }
        f.into->emplace_back();
        MMLParaStruct& para = f.into->back();
        if (!ReadName(p, para.name, why)) return false;
        const auto values = p.find("values");
        const auto groups = p.find("groups");
        const bool hasValues = values != p.end() && !(values->is_array() && values->empty());
        const bool hasGroups = groups != p.end() && !(groups->is_array() && groups->empty());
        if (hasValues && hasGroups) {
            why = "parameter \"" + para.name.As_std_string() + "\" has both values and groups";
            return false;
        }
        if (values != p.end()) {
            if (!values->is_array()) {
                why = "\"values\" must be an array";
                return false;
            }
            para.values.resize(values->size());
            for (std::size_t i = 0; i < values->size(); ++i) {
                if (!ReadValue((*values)[i], para.values[i], why)) return false;
            }
        }
        if (groups == p.end()) continue;
        if (!groups->is_array()) {
            why = "\"groups\" must be an array of arrays";
            return false;
        }
        para.objects.resize(groups->size());
        // Pushed in reverse so that groups fill in order; each keeps its own frame.
        for (std::size_t g = groups->size(); g-- > 0;) {
            if (!(*groups)[g].is_array()) {
                why = "\"groups\" must be an array of arrays";
                return false;
            }
            stack.push_back({&(*groups)[g], 0, &para.objects[g]});
        }
    }
    return true;
}

}  // namespace

bool QuotableText(const std::string& text, std::string& why) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '\0') {
            why = "a text cannot hold a NUL character";
            return false;
        }
        if (c == '"') {
            why = "a double quote in a text needs a backslash before it";
            return false;
        }
        if (c == '\r') {
            why = "a text cannot hold a carriage return (a reader drops it)";
            return false;
        }
        if (c == '\\') {
            if (++i == text.size()) {
                why = "a text cannot end in an unpaired backslash";
                return false;
            }
            if (text[i] == '\0' || text[i] == '\r') {
                --i;  // reported by the next round
                continue;
            }
        }
    }
    return true;
}

bool ParseJsonCommand(const std::string& line, JsonCommand& cmd, JsonCommandError& error) {
    cmd.name.clear();
    cmd.paras.clear();
    error = JsonCommandError();
    Json j;
    try {
        j = Json::parse(line);
    } catch (const Json::parse_error& e) {
        error.column = e.byte == 0 ? 1 : e.byte;
        const std::string what = e.what();
        const std::size_t colon = what.find(": ", what.find(" column "));
        error.reason = "not JSON: " + (colon == std::string::npos ? what : what.substr(colon + 2));
        return false;
    }
    if (!j.is_object()) {
        error.reason = "a command must be a JSON object";
        return false;
    }
    const auto name = j.find("name");
    if (name == j.end() || !name->is_string()) {
        error.reason = "a command needs a \"name\" text";
        return false;
    }
    cmd.name = name->get<std::string>();
    if (!IsPlainWord(cmd.name)) {
        error.reason = "command name \"" + cmd.name +
                       "\" is not a lower-case name of letters, digits, \"_\" and \"-\"";
        return false;
    }
    const auto paras = j.find("parameters");
    if (paras == j.end()) {
        error.reason = "a command needs \"parameters\"";
        return false;
    }
    return ReadParameters(*paras, cmd.paras, error.reason);
}

}  // namespace qxscript
