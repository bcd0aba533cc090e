#pragma once

// Parse trees built in a line and shown as one line of text, so tests compare whole trees and
// show the difference.

#include <string>
#include <utility>
#include <vector>

#include "qx_scriptutil/TScriptCmd.h"

namespace tree_text {

using NSQX_script::MMLCmdStruct;
using NSQX_script::MMLParaStruct;
using NSQX_script::QXValue;
using NSQX_script::TScriptCmd;

// A value as a test writes it: a text, kept as written, or a number of the kind QXValue gives it.
// The constructors convert implicitly so that a list of values reads as the script would.
struct Item {
    Item(const char* text) : value(text, false) {}
    Item(const std::string& text) : value(text, false) {}
    Item(int v) : value(v) {}
    Item(long v) : value(v) {}
    Item(double v) : value(v) {}
    Item(QXValue v) : value(std::move(v)) {}
    QXValue value;
};

inline MMLParaStruct Para(const std::string& name, const std::vector<Item>& values = {},
                          std::vector<std::vector<MMLParaStruct>> groups = {}) {
    MMLParaStruct p;
    p.name = QXValue(name, false);
    for (const Item& v : values) p.values.push_back(v.value);
    p.objects = std::move(groups);
    return p;
}

inline TScriptCmd Cmd(unsigned long code, std::vector<MMLParaStruct> paras) {
    TScriptCmd cmd(code);
    cmd.GetParaList() = std::move(paras);
    return cmd;
}

// A value with its kind: 'text' for strings, 5 for 64-bit integers, 5i for 32-bit integers
// (range members), 1.5d for doubles. A number that still carries text left from reused
// storage is marked "?stale".
inline std::string Show(const QXValue& v) {
    const std::string stale = v.IsStringTypeEx() || v.StringRef().empty() ? "" : "?stale";
    switch (v.GetType()) {
        case QXValue::kString:
            return "'" + v.As_std_string() + "'";
        case QXValue::kInt32:
            return v.As_std_string() + "i" + stale;
        case QXValue::kInt64:
            return v.As_std_string() + stale;
        case QXValue::kDouble:
            return v.As_std_string() + "d" + stale;
        default:
            return "?empty";
    }
}

inline std::string Show(const std::vector<MMLParaStruct>& list) {
    std::string out;
    for (const MMLParaStruct& p : list) {
        if (!out.empty()) out += ",";
        out += Show(p.name) + "=";
        for (std::size_t i = 0; i < p.values.size(); ++i) out += (i ? "&" : "") + Show(p.values[i]);
        for (std::size_t i = 0; i < p.objects.size(); ++i)
            out += (i ? "&{" : "{") + Show(p.objects[i]) + "}";
    }
    return out;
}

inline std::string Show(const MMLCmdStruct& cmd) {
    return cmd.cmdName + ":" + Show(cmd.paraList);
}

}  // namespace tree_text
