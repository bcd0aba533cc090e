#include "Findings.h"

#include <cstdio>

namespace qxscript {

namespace {

// Characters of the line shown before and after the column; longer lines are cut.
constexpr std::size_t kContextBefore = 50;
constexpr std::size_t kContextAfter = 30;

// The length of the UTF-8 sequence at text[i], or 0 when it is not valid there.
std::size_t Utf8Length(const std::string& text, std::size_t i) {
    const auto byte = [&](std::size_t k) { return static_cast<unsigned char>(text[k]); };
    const unsigned char c = byte(i);
    std::size_t n = 0;
    unsigned int min = 0;
    unsigned int cp = 0;
    if (c < 0x80) return 1;
    if ((c & 0xE0) == 0xC0) {
        n = 2, cp = c & 0x1F, min = 0x80;
    } else if ((c & 0xF0) == 0xE0) {
        n = 3, cp = c & 0x0F, min = 0x800;
    } else if ((c & 0xF8) == 0xF0) {
        n = 4, cp = c & 0x07, min = 0x10000;
    } else {
        return 0;
    }
    if (i + n > text.size()) return 0;
    for (std::size_t k = 1; k < n; ++k) {
        if ((byte(i + k) & 0xC0) != 0x80) return 0;
        cp = (cp << 6) | (byte(i + k) & 0x3F);
    }
    if (cp < min || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return 0;
    if (cp >= 0x80 && cp <= 0x9F) return 0;  // C1 controls are escaped like C0
    return n;
}

void AppendHex(std::string& out, const std::string& text, std::size_t from, std::size_t n) {
    for (std::size_t k = from; k < from + n; ++k) {
        char hex[5];
        std::snprintf(hex, sizeof hex, "\\x%02X", static_cast<unsigned char>(text[k]));
        out += hex;
    }
}

// One shown character per source character, so that the caret can be placed under it.
struct Shown {
    std::string text;
    std::size_t width;
};

Shown ShowCharacter(const std::string& text, std::size_t& i, bool keepTabs) {
    const unsigned char c = static_cast<unsigned char>(text[i]);
    std::size_t n = Utf8Length(text, i);
    Shown shown{};
    if (n == 0 || (n == 1 && (c < 0x20 || c == 0x7F) && !(keepTabs && c == '\t'))) {
        // A C1 control is a valid sequence of two bytes; an invalid byte is one character.
        const bool c1 = c == 0xC2 && i + 1 < text.size() &&
                        static_cast<unsigned char>(text[i + 1]) <= 0x9F &&
                        static_cast<unsigned char>(text[i + 1]) >= 0x80;
        if (n == 0) n = c1 ? 2 : 1;
        AppendHex(shown.text, text, i, n);
        shown.width = shown.text.size();
    } else {
        shown.text.assign(text, i, n);
        shown.width = 1;
    }
    i += n;
    return shown;
}

}  // namespace

void FindingLog::Report(const NSQX_script::TScriptDiagnostic& d) {
    const bool error = d.severity == NSQX_script::TScriptDiagnostic::kError;
    Finding f{error ? Finding::kError : Finding::kValueWarning, d.line, d.column, d.reason,
              std::string()};
    // The characters FormatFinding may show: up to kContextBefore before the column and
    // kContextAfter from it (one more, so that it sees whether the line goes on).
    const std::string& text = d.lineText;
    const std::size_t target = d.column != 0 ? d.column - 1 : 0;
    const std::size_t firstChar = target > kContextBefore ? target - kContextBefore : 0;
    const std::size_t endChar = target + kContextBefore + kContextAfter + 1;
    std::size_t begin = text.size();
    std::size_t end = text.size();
    std::size_t chars = 0;
    for (std::size_t i = 0; i < text.size(); ++chars) {
        if (chars == firstChar) begin = i;
        if (chars == endChar) {
            end = i;
            break;
        }
        const std::size_t n = Utf8Length(text, i);
        i += n != 0 ? n : 1;
    }
    f.lineText.assign(text, begin, end - begin);
    f.textOffset = begin != 0 ? firstChar : 0;
    f.cutAfter = end < text.size();
    m_items.push_back(std::move(f));
}

std::string EscapeForTerminal(const std::string& text, bool keepTabs) {
    // Most texts are printable ASCII and go out as they are.
    const auto plain = [keepTabs](char ch) {
        const unsigned char c = static_cast<unsigned char>(ch);
        return (c >= 0x20 && c < 0x7F) || (keepTabs && c == '\t');
    };
    std::size_t i = 0;
    while (i < text.size() && plain(text[i])) ++i;
    if (i == text.size()) return text;
    std::string out(text, 0, i);
    while (i < text.size()) {
        if (plain(text[i])) {
            out += text[i++];
        } else {
            out += ShowCharacter(text, i, keepTabs).text;
        }
    }
    return out;
}

std::string FormatFinding(const std::string& file, const Finding& f) {
    std::string out = EscapeForTerminal(file);
    if (f.line != 0) out += ":" + std::to_string(f.line);
    if (f.line != 0 && f.column != 0) out += ":" + std::to_string(f.column);
    out += f.kind == Finding::kError ? ": error: " : ": warning: ";
    out += EscapeForTerminal(f.reason) + "\n";
    if (f.lineText.find_first_not_of(" \t\r") == std::string::npos) return out;

    // The characters of the line, each as shown.
    std::vector<Shown> chars;
    for (std::size_t i = 0; i < f.lineText.size();) {
        chars.push_back(ShowCharacter(f.lineText, i, false));
    }
    while (!chars.empty() && (chars.back().text == "\\x0D" || chars.back().text == " ")) {
        chars.pop_back();
    }
    // The column within lineText (the line's end when the window lies before it).
    const std::size_t column = f.column > f.textOffset ? f.column - f.textOffset : 1;
    const std::size_t target = std::min(column - 1, chars.size());
    std::size_t first = 0;
    std::size_t last = chars.size();
    if (f.column == 0) {
        while (first < last && chars[first].text == " ") ++first;
        last = std::min(last, first + kContextBefore + kContextAfter);
    } else {
        first = target > kContextBefore ? target - kContextBefore : 0;
        last = std::min(last, target + kContextAfter);
    }
    std::string line = "    ";
    std::string caret = "    ";
    if (first > 0 || f.textOffset != 0) line += "...", caret += "   ";
    for (std::size_t k = first; k < last; ++k) {
        line += chars[k].text;
        if (k < target) caret.append(chars[k].width, ' ');
    }
    if (last < chars.size() || f.cutAfter) line += "...";
    out += line + "\n";
    if (f.column != 0) out += caret + "^\n";
    return out;
}

}  // namespace qxscript
