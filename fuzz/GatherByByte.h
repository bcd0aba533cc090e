#pragma once

// The script reader's gathering rules taken one byte at a time, the plain state machine that
// its buffered runs must agree with: for the fuzz target that compares the two and for the
// file tests.

#include <string>
#include <utility>
#include <vector>

#include "file/ScriptReadBuffer.h"

namespace gather_rules {

using Texts = std::vector<std::pair<std::string, unsigned long>>;

struct Gathered {
    Texts texts;
    unsigned long openComment = 0;  // the line of a block comment that runs to the end
};

// The rules, one byte at a time, with the reader's limit: a text is kept up to
// NSQX_script::GatheredBytes::kCapacity bytes; one that goes on past them with more than blanks is
// handed over cut and untrimmed, for the parser to refuse.
inline Gathered GatherByByte(const std::string& bytes) {
    static const char kMarker[] = "/*NeBoardInfo";
    constexpr std::size_t kKeep = NSQX_script::GatheredBytes::kCapacity;
    Gathered out;
    std::string raw;
    enum { kText, kQuote, kEscape, kSlash, kLine, kBlock, kStar } state = kText;
    unsigned long line = 1;
    unsigned long commentLine = 0;
    int marker = 0;
    auto add = [&raw](char c) {
        if (!raw.empty() || c != ' ') raw.push_back(c);
    };
    auto take = [&] {
        std::string text = raw.substr(0, kKeep);
        if (raw.find_first_not_of(' ', kKeep) == std::string::npos) {
            const std::size_t first = text.find_first_not_of(' ');
            text = first == std::string::npos
                       ? std::string()
                       : text.substr(first, text.find_last_not_of(' ') + 1 - first);
        }
        out.texts.emplace_back(std::move(text), line);
        raw.clear();
    };
    for (const char c : bytes) {
        if (c == '\r') continue;
        if (c == '\n') ++line;
        marker = c == kMarker[marker] ? marker + 1 : 0;
        if (marker == 12) return out;
        const char blank = c == '\n' ? ' ' : c;
        switch (state) {
            case kText:
                if (c == '/') {
                    state = kSlash;
                    break;
                }
                add(c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : blank);
                if (c == '"') state = kQuote;
                if (c == ';') take();
                break;
            case kQuote:
                add(c);
                state = c == '\\' ? kEscape : c == '"' ? kText : kQuote;
                break;
            case kEscape:
                add(c);
                state = kQuote;
                break;
            case kSlash:
                state = c == '/' ? kLine : c == '*' ? kBlock : kText;
                if (state == kBlock) commentLine = line;
                if (state == kText) {
                    add('/');
                    add(blank);
                    if (c == ';') take();
                }
                break;
            case kLine:
                if (c == '\n') {
                    add(' ');
                    state = kText;
                }
                break;
            case kBlock:
            case kStar:
                if (state == kStar && c == '/') {
                    add(' ');
                    state = kText;
                } else {
                    state = c == '*' ? kStar : kBlock;
                }
                break;
        }
    }
    if (state == kBlock || state == kStar) out.openComment = commentLine;
    if (!raw.empty()) take();
    return out;
}

}  // namespace gather_rules
