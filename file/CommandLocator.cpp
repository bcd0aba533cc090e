#include "file/CommandLocator.h"

#include <algorithm>

#include "qx_platform/CodeSet.h"

namespace NSQX_script {

std::size_t CharBytes(const std::string& encoding, const char* p, std::size_t left) {
    const unsigned char lead = static_cast<unsigned char>(*p);
    std::size_t n = 1;
    if (encoding == "UTF-8") {
        if (lead >= 0xF0 && lead <= 0xF7) {
            n = 4;
        } else if (lead >= 0xE0) {
            n = lead <= 0xEF ? 3 : 1;
        } else if (lead >= 0xC0) {
            n = 2;
        }
    } else if (encoding == "GBK" && lead >= 0x81 && lead != 0xFF) {
        // A digit in the second byte marks a four-byte sequence.
        n = left >= 4 && p[1] >= '0' && p[1] <= '9' ? 4 : 2;
    }
    return std::min(n, left);
}

std::size_t CharCount(const std::string& encoding, const char* p, std::size_t n) {
    std::size_t count = 0;
    for (std::size_t i = 0; i < n; ++count) i += CharBytes(encoding, p + i, n - i);
    return count;
}

CommandLocator::CommandLocator(const SourceSpan& span, const std::string& encoding,
                               std::string_view rest)
    : span_(span), encoding_(encoding), rest_(rest) {
    Walk();
}

// The gatherer's states again, keeping for each gathered byte where it came from. Case and the
// board-information marker change no positions and are left out.
void CommandLocator::Walk() {
    enum {
        kText = 0,
        kQuoted = 1,
        kLineComment = 2,
        kBlock = 3,
        kSlash = 4,
        kStar = 5,
        kEscape = 6
    };
    const std::string& b = span_.bytes;
    auto put = [this](char c, std::size_t from) {
        if (gathered_.empty() && c == ' ') return;
        gathered_.push_back(c);
        source_.push_back(from);
    };
    int state = span_.state;
    std::size_t slash = span_.commandStart;
    std::size_t quote = std::string::npos;
    std::size_t comment = std::string::npos;
    bool quoteCrossedLine = false;
    for (std::size_t i = span_.commandStart; i < b.size(); ++i) {
        const char c = b[i];
        if (c == '\r') continue;
        switch (state) {
            case kText:
                if (c == '/') {
                    state = kSlash;
                    slash = i;
                    break;
                }
                put(c == '\n' ? ' ' : c, i);
                if (c == '"') {
                    state = kQuoted;
                    quote = i;
                    quoteCrossedLine = false;
                }
                break;
            case kQuoted:
            case kEscape:
                put(c, i);
                if (c == '\n') quoteCrossedLine = true;
                if (state == kEscape) {
                    state = kQuoted;
                } else if (c == '\\') {
                    state = kEscape;
                } else if (c == '"') {
                    state = kText;
                    if (quoteCrossedLine && openQuote_ == std::string::npos) openQuote_ = quote;
                }
                break;
            case kSlash:
                if (c == '/') {
                    state = kLineComment;
                } else if (c == '*') {
                    state = kBlock;
                    comment = slash;
                } else {
                    state = kText;
                    put('/', slash);
                    put(c == '\n' ? ' ' : c, i);
                }
                break;
            case kLineComment:
                if (c == '\n') {
                    put(' ', i);
                    state = kText;
                }
                break;
            case kBlock:
                if (c == '*') state = kStar;
                break;
            case kStar:
                if (c == '/') {
                    put(' ', i);
                    state = kText;
                } else if (c != '*') {
                    state = kBlock;
                }
                break;
            default:
                state = kText;
                break;
        }
    }
    if ((state == kQuoted || state == kEscape) && openQuote_ == std::string::npos) {
        openQuote_ = quote;
    }
    if (state == kBlock || state == kStar) openComment_ = comment;
}

TScriptDiagnostic CommandLocator::AtText(std::size_t offset, std::string_view text,
                                         bool rawText) const {
    std::size_t at = std::min(offset, text.size());
    if (!rawText && encoding_ != "UTF-8") {
        // Characters of the UTF-8 text, then as many characters of the gathered bytes.
        const std::size_t chars = CharCount("UTF-8", text.data(), at);
        at = 0;
        for (std::size_t k = 0; k < chars && at < gathered_.size(); ++k) {
            at += CharBytes(encoding_, gathered_.data() + at, gathered_.size() - at);
        }
    }
    if (at < source_.size()) return AtSpan(source_[at]);
    return AtSpan(source_.empty() ? span_.commandStart : source_.back() + 1);
}

TScriptDiagnostic CommandLocator::AtSpan(std::size_t index) const {
    const std::string& b = span_.bytes;
    index = std::min(index, b.size());
    const std::size_t newline = index == 0 ? std::string::npos : b.rfind('\n', index - 1);
    const std::size_t lineStart = newline == std::string::npos ? 0 : newline + 1;

    TScriptDiagnostic d;
    d.line = span_.firstLine +
             static_cast<unsigned long>(std::count(b.begin(), b.begin() + lineStart, '\n'));
    d.column = (lineStart == 0 ? span_.firstColumn : 0) +
               CharCount(encoding_, b.data() + lineStart, index - lineStart) + 1;

    std::string line;
    const std::size_t lineEnd = b.find('\n', index);
    if (lineEnd != std::string::npos) {
        line.assign(b, lineStart, lineEnd - lineStart);
    } else {
        line.assign(b, lineStart, std::string::npos);
        line.append(rest_.substr(0, rest_.find('\n')));
    }
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (encoding_ == "UTF-8" ||
        !qxp::OrinCodeSetConvert(encoding_.c_str(), "UTF-8", line, d.lineText)) {
        d.lineText.swap(line);
    }
    return d;
}

}  // namespace NSQX_script
