#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "qx_scriptutil/TScriptCmd.h"

namespace NSQX_script {

// How a layout treats the odd parameters it may meet. The script file writes a parameter
// without a name all the same; the converted-command log leaves it out.
struct LayoutStyle {
    const char* emptyNameTrace;    // traced for a parameter with an empty name
    bool skipEmptyName;            // leave such a parameter out instead of writing it
    const char* emptyValuesTrace;  // traced for a plain parameter without values; may be null
};

// The script file's body writer.
extern const LayoutStyle kScriptFileLayout;
// The converted-command log.
extern const LayoutStyle kConvertLogLayout;

// The parameter vector a command view refers to (null when it has none). The view keeps it
// protected; writers need it to lay the tree out without copying.
std::vector<MMLParaStruct>* ParaListOf(const TScriptCmdRef& cmd);

// Renders commands into the text of a script body, into one buffer that is reused from
// command to command: the caller renders, then writes Text() through its own writer. Holds no
// shared state; one object per thread.
//
// A named command is ":" name ":{" parameters "};\n\n"; ", " separates parameters, "&" values
// and object elements, which stand in braces. A running column starts at the name's length
// plus 3: each parameter adds 2 (a "\n  " follows the separator when the column is then above
// 80), its name adds its length plus 1, each value its length plus 1 (a "\n  " follows a value
// that takes the column above 80 unless it is the last one). Object members continue the same
// column. A command whose code has no name is a raw line: each parameter's first value text,
// nothing between them, then "\n".
class CommandLayout {
  public:
    enum class Kind { kNothing, kNamed, kRaw };

    explicit CommandLayout(const LayoutStyle& style = kScriptFileLayout) : style_(&style) {}

    // Replaces Text() with the command. A command without parameters renders nothing.
    Kind Render(const TScriptCmdRef& cmd);
    Kind Render(unsigned long cmdCode, const std::vector<MMLParaStruct>& paras);

    // Building blocks; they append to Text().
    void AppendNamed(const std::string& name, const std::vector<MMLParaStruct>& paras);
    void AppendRaw(const std::vector<MMLParaStruct>& paras);
    void AppendParaList(const std::vector<MMLParaStruct>& paras, std::size_t& column);

    const std::string& Text() const { return text_; }
    void Clear() { text_.clear(); }

  private:
    // The value's text; valid until the next call.
    std::string_view ValueText(const QXValue& value);

    const LayoutStyle* style_;
    std::string text_;
    std::string name_;
    std::string other_;  // text of a value that is neither a string nor an integer
    char digits_[24];
};

}  // namespace NSQX_script
