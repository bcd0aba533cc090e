#pragma once

#include <string>

#include "parser/ParseBuilder.h"

namespace NSQX_script {
namespace parser {

// A hand-written scanner and recursive-descent parser for the commands that real scripts hold,
// tried before the generated parser because it is several times faster. It drives the same
// ParseBuilder actions in the same order, so a tree it builds is the generated parser's tree.
// Whatever it is not sure of (any syntax error, characters the generated scanner would echo,
// bracketed strings, unclosed quotes, deep nesting, very long texts, a failed action) it leaves
// to the generated parser, and it never prints.
//
// Run it between builder.Begin(cmd) and builder.Finish(). It
// returns true when cmd holds the finished tree (the parse result is then 0); false when the
// generated parser must parse text afresh (builder.Finish() and builder.Begin(cmd) again). The
// pending texts point into text, which must outlive the call.
bool FastParse(const std::string& text, ParseBuilder& builder);

// FastParse alone on cmd, for checks and measurements: true when cmd holds the
// tree; false when it declined (cmd then holds some partial tree).
bool FastParseCommand(const std::string& text, MMLCmdStruct& cmd);

}  // namespace parser
}  // namespace NSQX_script
