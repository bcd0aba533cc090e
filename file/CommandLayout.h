#pragma once

#include <cstddef>
#include <cstring>
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
    void Clear() {
        text_.clear();
        len_ = 0;
    }

  private:
    // While a public call runs, text_ is a buffer whose first len_ bytes are the text: writing
    // through it saves a capacity check and a call per piece. Finish() trims it to the text.
    void Put(std::string_view piece) {
        if (len_ + piece.size() > text_.size()) Grow(piece.size());
        std::memcpy(&text_[len_], piece.data(), piece.size());
        len_ += piece.size();
    }
    void Put(char c) {
        if (len_ + 1 > text_.size()) Grow(1);
        text_[len_++] = c;
    }
    void Grow(std::size_t more);
    void Start() { len_ = text_.size(); }
    void Finish() { text_.resize(len_); }
    void ParaList(const std::vector<MMLParaStruct>& paras, std::size_t& column);

    // The value's text; valid until the next call.
    std::string_view ValueText(const QXValue& value);

    const LayoutStyle* style_;
    std::string text_;
    std::size_t len_ = 0;
    std::string name_;
    std::string other_;  // text of a value that is neither a string nor an integer
    char digits_[24];
};

}  // namespace NSQX_script
