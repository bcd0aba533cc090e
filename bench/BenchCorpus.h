#pragma once

// The two generated corpora every figure is taken on, deterministic from a seed:
//   gentle: 2 to 25 parameters, "&" lists up to 200 values, ranges, quoted strings with
//           escapes, hexadecimal numbers, fractions, groups nested three deep;
//   harsh:  values of every kind at once: hexadecimal of mixed case, fractions, quoted texts
//           with escapes, separators and non-ASCII (UTF-8) inside the quotes, "/* */" comments
//           between parameters, groups nested three deep, long "&" and "&&" lists, and commands
//           wrapped at 80 columns.
// A command is written as it stands in a file; Parsed() gives the text the script reader hands
// the parser for it (comments become one blank, line feeds blanks, letters outside quotes
// lower case).

#include <random>
#include <string>

namespace bench_corpus {

enum Corpus { kGentle = 0, kHarsh = 1 };

inline const char* CorpusName(int corpus) {
    return corpus == kHarsh ? "harsh" : "gentle";
}

inline std::string CommandName(int i) {
    return "cfg-cmd-" + std::to_string(i);
}
constexpr int kNames = 40;

class Generator {
  public:
    Generator(int corpus, unsigned seed) : harsh_(corpus == kHarsh), rng_(seed) {}

    // One command as it stands in a file, ending in ";\n\n" (gentle) or ";\n" (harsh).
    std::string Command() {
        std::string s = ":" + CommandName(Pick(kNames)) + ":{";
        const int paras = 2 + Pick(24);
        for (int p = 0; p < paras; ++p) {
            if (p) s += harsh_ ? "," : ", ";
            if (harsh_ && Pick(6) == 0) s += "/* note " + std::to_string(Pick(100)) + " */ ";
            Parameter(s, p, 0);
        }
        s += "};\n";
        if (!harsh_) return s + "\n";
        return Wrap(s);
    }

  private:
    int Pick(int n) { return static_cast<int>(rng_() % static_cast<unsigned>(n)); }

    void Parameter(std::string& s, int p, int depth) {
        s += (harsh_ && Pick(3) == 0 ? "Para" : "para") + std::to_string(p) + "=";
        const int kind = Pick(depth < 3 ? 10 : 9);
        if (!harsh_) return Gentle(s, kind, depth);
        switch (kind) {
            case 0:  // a long list mixing every kind
            case 1: {
                const int n = 1 + Pick(120);
                for (int i = 0; i < n; ++i) {
                    if (i) s += "&";
                    Harsh(s, Pick(7));
                }
                break;
            }
            case 2: {  // ranges
                const int n = 1 + Pick(20);
                for (int i = 0; i < n; ++i) {
                    const int from = Pick(4000);
                    s += (i ? "&" : "") + std::to_string(from) + "&&" +
                         std::to_string(from + Pick(8));
                }
                break;
            }
            case 9:
                Groups(s, depth);
                break;
            default:
                Harsh(s, kind - 3);
                break;
        }
    }

    void Harsh(std::string& s, int kind) {
        static const char kHex[] = "0123456789abcdefABCDEF";
        static const char* const kWide[] = {"\xC3\xA9", "\xE4\xB8\xAD", "\xC3\xBC", "\xE2\x82\xAC"};
        static const char* const kSeparators[] = {",", ";", "&", "=", "{", "}", ":", "&&"};
        switch (kind) {
            case 0: {
                s += "0x";
                const int n = 1 + Pick(8);
                for (int i = 0; i < n; ++i) s += kHex[Pick(22)];
                break;
            }
            case 1:
                s += (Pick(4) == 0 ? "-" : "") + std::to_string(Pick(100000)) + "." +
                     std::to_string(Pick(10000));
                break;
            case 2: {
                s += "\"";
                const int words = 1 + Pick(5);
                for (int w = 0; w < words; ++w) {
                    if (w) s += Pick(2) ? " " : kSeparators[Pick(8)];
                    switch (Pick(5)) {
                        case 0:
                            s += "\\\"q\\\"";
                            break;
                        case 1:
                            s += kWide[Pick(4)];
                            break;
                        case 2:
                            s += "back\\\\slash";
                            break;
                        default:
                            s += "Word" + std::to_string(Pick(1000));
                            break;
                    }
                }
                s += "\"";
                break;
            }
            case 3:
                s += std::to_string(Pick(4) == 0 ? -Pick(100000) : Pick(100000000));
                break;
            case 4:
                s += "Value_" + std::to_string(Pick(500)) + "-x";
                break;
            default:
                s += std::to_string(Pick(1000));
                break;
        }
    }

    void Groups(std::string& s, int depth) {
        const int groups = 1 + Pick(3);
        for (int g = 0; g < groups; ++g) {
            s += g ? "&{" : "{";
            const int members = 1 + Pick(4);
            for (int m = 0; m < members; ++m) {
                if (m) s += ",";
                Parameter(s, m, depth + 1);
            }
            s += "}";
        }
    }

    void Gentle(std::string& s, int kind, int depth) {
        switch (kind) {
            case 0: {
                const int n = 1 + Pick(200);
                for (int i = 0; i < n; ++i) s += (i ? "&" : "") + std::to_string(Pick(100000));
                break;
            }
            case 1:
                s += std::to_string(Pick(50)) + "&&" + std::to_string(50 + Pick(50));
                break;
            case 2:
                s += "\"text with \\\"quotes\\\" and \\\\ " + std::to_string(Pick(1000)) + "\"";
                break;
            case 3:
                s += "0x" + std::to_string(10 + Pick(80));
                break;
            case 4:
                s += std::to_string(Pick(1000)) + "." + std::to_string(Pick(100));
                break;
            case 9:
                Groups(s, depth);
                break;
            default:
                s += "value_" + std::to_string(Pick(500));
                break;
        }
    }

    // Breaks the command into lines of at most 80 columns, after a ',' or '&' outside quotes
    // and comments; a token longer than a line stays whole.
    static std::string Wrap(const std::string& s) {
        std::string out;
        std::size_t column = 0;
        std::size_t lastBreak = std::string::npos;  // in out, after which a break may go
        bool quoted = false;
        for (std::size_t i = 0; i < s.size(); ++i) {
            const char c = s[i];
            out += c;
            ++column;
            if (quoted) {
                if (c == '\\' && i + 1 < s.size()) {
                    out += s[++i];
                    ++column;
                } else if (c == '"') {
                    quoted = false;
                }
                continue;
            }
            if (c == '"') quoted = true;
            if (c == '\n') column = 0;
            if ((c == ',' || c == '&') && i + 1 < s.size() && s[i + 1] != '&' && s[i + 1] != '/')
                lastBreak = out.size();
            if (column > 80 && lastBreak != std::string::npos) {
                out.insert(lastBreak, "\n");
                column = out.size() - lastBreak - 1;
                lastBreak = std::string::npos;
            }
        }
        return out;
    }

    bool harsh_;
    std::mt19937 rng_;
};

// The text the script reader hands the parser for a command as Generator writes it.
inline std::string Parsed(const std::string& file) {
    std::string out;
    bool quoted = false;
    for (std::size_t i = 0; i < file.size(); ++i) {
        const char c = file[i];
        if (quoted) {
            out += c;
            if (c == '\\' && i + 1 < file.size())
                out += file[++i];
            else if (c == '"')
                quoted = false;
        } else if (c == '/' && i + 1 < file.size() && file[i + 1] == '*') {
            i = file.find("*/", i + 2) + 1;
            out += ' ';
        } else if (c == '\n') {
            out += ' ';
        } else {
            out += (c >= 'A' && c <= 'Z') ? static_cast<char>(c | 0x20) : c;
            quoted = c == '"';
        }
    }
    while (!out.empty() && out.back() == ' ') out.pop_back();
    return out;
}

}  // namespace bench_corpus
