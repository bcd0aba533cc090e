#pragma once

#include <string>
#include <vector>

#include "qx_scriptutil/TScriptCmd.h"

namespace qxscript {

// How `dump` shows a command: as one JSON object on one line, or as indented text lines. Both
// walk the parameter tree without recursion and indent text at most kMaxIndent levels, so
// that any command that parses prints, in memory proportional to its size.
//
// JSON: {"file","line","name","code","parameters":[P...]}, where P is
// {"name": text, "nameType": "int32"|"int64" (only for a name that is a number),
//  "values": [{"type": "string"|"int32"|"int64"|"double", "value": ...}],
//  "groups": [[P...], ...]} (values and groups only when present). Bytes that are not UTF-8
// become U+FFFD. docs/dump.schema.json tells what each kind stands for in a script.
void AppendJson(const std::string& file, const std::string& name,
                const NSQX_script::TScriptCmd& cmd, std::string& out);
// The "parameters" array of AppendJson alone.
void AppendJsonParameters(const std::vector<NSQX_script::MMLParaStruct>& paras, std::string& out);
// A JSON string of the text, bytes that are not UTF-8 as U+FFFD.
std::string JsonText(const std::string& text);
// "string", "int32", "int64", "double" (or "empty").
const char* TypeName(NSQX_script::QXValue::Type type);
// Text: texts quoted, control characters escaped (\xHH); groups deeper than kMaxIndent say
// their depth instead of indenting further.
void AppendText(const std::string& file, const std::string& name,
                const NSQX_script::TScriptCmd& cmd, std::string& out);
constexpr std::size_t kMaxIndent = 32;

// Makes parsed parameters writable so that they read back as the same tree with the same
// value types. The writer puts value texts out as they are, while the parser took the quotes
// off quoted texts, so every text value or name that would not read back as the same text
// (blanks, upper case, punctuation, a number's look, empty) gets its double quotes back;
// escapes inside were never undone and stay. Ranges, the only source of 32-bit integers and
// of empty value lists, are written as ranges again, names included ("7&&7" for a group's
// 32-bit name). 64-bit integers above 2147483647 came from 0x numbers and are written so.
void PrepareForWriting(std::vector<NSQX_script::MMLParaStruct>& paras);
// The command on one line in script syntax, ":name:{a=1, b={c=x}&{c=y}};", its parameters made
// writable as above: what a reader takes back as the same tree.
std::string ScriptText(const std::string& name, std::vector<NSQX_script::MMLParaStruct> paras);
// The parameters of ScriptText, already made writable, without the command around them.
void AppendScriptParameters(const std::vector<NSQX_script::MMLParaStruct>& paras, std::string& out);
// Whether a text reads back unchanged without quotes.
bool IsPlainWord(const std::string& text);

}  // namespace qxscript
