#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
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
// command to command: the caller renders, then writes View() (or Text()) through its own
// writer. Holds no shared state; one object per thread.
//
// A named command is ":" name ":{" parameters "};\n\n"; ", " separates parameters, "&" values
// and object elements, which stand in braces. A running column starts at the name's length
// plus 3: each parameter adds 2 (a "\n  " follows the separator when the column is then above
// 80), its name adds its length plus 1, each value its length plus 1 (a "\n  " follows a value
// that takes the column above 80 unless it is the last one). Object members continue the same
// column. A command whose code has no name is a raw line: each parameter's first value text,
// nothing between them, then "\n".
//
// Values are written as QXValue::As_std_string() gives them, but formatted straight into the
// buffer: integers in decimal, doubles in their shortest fixed form with a decimal point.
class CommandLayout {
  public:
    enum class Kind { kNothing, kNamed, kRaw };

    explicit CommandLayout(const LayoutStyle& style = kScriptFileLayout) : style_(&style) {}
    CommandLayout(const CommandLayout&) = delete;
    CommandLayout& operator=(const CommandLayout&) = delete;

    // Replaces the text with the command. A command without parameters renders nothing.
    Kind Render(const TScriptCmdRef& cmd);
    Kind Render(unsigned long cmdCode, const std::vector<MMLParaStruct>& paras);

    // Building blocks; they append to the text.
    void AppendNamed(const std::string& name, const std::vector<MMLParaStruct>& paras);
    void AppendRaw(const std::vector<MMLParaStruct>& paras);
    void AppendParaList(const std::vector<MMLParaStruct>& paras, std::size_t& column);

    std::string_view View() const noexcept { return std::string_view(buf_.get(), len_); }
    // A copy of the text, kept until the next call; View() spares the copy.
    const std::string& Text() const {
        text_.assign(buf_.get(), len_);
        return text_;
    }
    // False when the text holds a byte above 0x7F (it is then not plain ASCII).
    bool IsAscii() const noexcept { return nonAscii_.empty(); }
    // True when the text is ASCII or each name and value text in it with a byte above 0x7F is
    // valid UTF-8, which makes the whole text valid: only those texts are checked. False leaves
    // the whole text to be checked (texts that a raw line joins may be valid only together).
    bool IsKnownUtf8();
    void Clear() noexcept {
        len_ = 0;
        nonAscii_.clear();
    }

  private:
    char* Room(std::size_t n) {
        if (cap_ - len_ < n) Grow(n);
        return buf_.get() + len_;
    }
    // Appends a constant piece; its length is known where it is called, so the copy is a store.
    void Put(const char* s, std::size_t n) {
        char* d = Room(n);
        len_ += n;
        std::memcpy(d, s, n);
    }
    void Put(char c) {
        *Room(1) = c;
        ++len_;
    }
    // Appends a name or value text, noting whether it is ASCII.
    void PutText(const std::string& text);
    void Grow(std::size_t more);
    void ParaList(const std::vector<MMLParaStruct>& paras, std::size_t& column);

    void NoteNonAscii(std::string_view text);
    // Writes the value's text at d, which has the room the value may take; returns its length.
    std::size_t FormatValue(const QXValue& value, char* d);
    // Appends the value's text; returns its length.
    std::size_t PutValue(const QXValue& value);
    // Appends a parameter's name and "="; returns the name's length.
    std::size_t PutName(const QXValue& name);
    void PutValues(const QXValue* v, const QXValue* end, std::size_t& column);

    // One parameter list being laid out: the next parameter, and the group it belongs to.
    struct Frame {
        const MMLParaStruct* next;
        const MMLParaStruct* end;
        const MMLParaStruct* owner;  // the object parameter of this group; null at the top
        std::size_t group;           // index of this group in owner->objects
        bool first;                  // no parameter of the list written yet
    };

    const LayoutStyle* style_;
    std::vector<Frame> frames_;  // reused from command to command
    std::unique_ptr<char[]> buf_;
    std::size_t cap_ = 0;
    std::size_t len_ = 0;
    // The name and value texts written that hold a byte above 0x7F, each followed by a line
    // feed; IsKnownUtf8 checks them, and the buffer it hands them to is kept for the next check.
    std::string nonAscii_;
    std::string checked_;
    std::string name_;
    mutable std::string text_;
};

}  // namespace NSQX_script
