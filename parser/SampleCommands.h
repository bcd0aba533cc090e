#pragma once

// A deterministic generator of commands shaped like exported configuration, for the parser's
// benchmark, tests and fuzz targets (never compiled into the library): about 40 command names,
// 2 to 25 parameters, "&" lists of up to 200 values, ranges, quoted strings with escapes and
// object groups nested up to three levels. With varied on it also writes the rarer shapes that
// scripts hold: name lists and name ranges, empty groups, a leading comma, blanks and newlines
// between tokens, fractions without digits after the point, backward ranges, wide numbers.

#include <cstdint>
#include <string>
#include <vector>

namespace NSQX_script {
namespace parser {

class SampleCommands {
  public:
    explicit SampleCommands(std::uint32_t seed, bool varied = false)
        : state_(seed), varied_(varied) {}

    std::vector<std::string> Commands(std::size_t count) {
        std::vector<std::string> out;
        out.reserve(count);
        for (std::size_t i = 0; i < count; ++i) out.push_back(Command());
        return out;
    }

    std::string Command() {
        static const char* const kVerbs[] = {"add", "set", "mod", "del", "cfg-set"};
        static const char* const kObjects[] = {"board", "port",  "vlan",   "ospf",
                                               "alarm", "cross", "tunnel", "qos"};
        std::string text = ":";
        text += kVerbs[Below(5)];
        text += "-";
        text += kObjects[Below(8)];
        text += ":{";
        const std::uint32_t count = varied_ ? Below(26) : 2 + Below(24);
        if (varied_ && count != 0 && Below(10) == 0) text += ",";  // "{,}" is no command
        Parameters(text, count, 0);
        text += "};";
        if (varied_ && Below(4) == 0) text += Below(2) ? "\n" : " \t\n";
        return text;
    }

  private:
    std::uint32_t Next() {
        state_ = state_ * 1664525u + 1013904223u;
        return state_ >> 8;
    }
    std::uint32_t Below(std::uint32_t n) { return Next() % n; }

    void Blank(std::string& text) {
        if (varied_ && Below(16) == 0) text += Below(3) == 0 ? "\n\t" : " ";
    }

    void Parameters(std::string& text, std::uint32_t count, int depth) {
        for (std::uint32_t i = 0; i < count; ++i) {
            if (i) text += ",";
            Blank(text);
            Names(text, i);
            Blank(text);
            text += "=";
            Blank(text);
            if (depth < 3 && Below(10) == 0) {
                const std::uint32_t groups = 1 + Below(3);
                for (std::uint32_t g = 0; g < groups; ++g) {
                    text += g ? "&{" : "{";
                    Parameters(text, varied_ ? Below(5) : 1 + Below(4), depth + 1);
                    text += "}";
                }
            } else {
                Values(text);
            }
            Blank(text);
        }
    }

    void Names(std::string& text, std::uint32_t index) {
        Name(text, index);
        if (!varied_) return;
        switch (Below(12)) {
            case 0:
                text += "&";
                Name(text, index + 1);
                break;
            case 1: {
                const std::uint32_t from = Below(20);
                text += "&" + std::to_string(from) + "&&" + std::to_string(from + Below(4) - 1);
                break;
            }
            case 2:
                text += "&\"q" + std::to_string(Below(9)) + "\"";
                break;
            default:
                break;
        }
    }

    void Name(std::string& text, std::uint32_t index) {
        static const char* const kNames[] = {"ne",   "slot",  "port", "vlanid", "name",
                                             "mode", "rate",  "desc", "enable", "bid",
                                             "pid",  "level", "type", "ip",     "mask"};
        text += kNames[(index + Below(3)) % 15];
        if (Below(4) == 0) text += std::to_string(Below(100));
    }

    void Values(std::string& text) {
        const std::uint32_t roll = Below(100);
        const std::uint32_t count = roll < 70 ? 1 : roll < 90 ? 2 + Below(6) : 8 + Below(193);
        for (std::uint32_t i = 0; i < count; ++i) {
            if (i) text += "&";
            Value(text);
        }
    }

    void Value(std::string& text) {
        switch (Below(varied_ ? 16 : 12)) {
            case 0:
            case 1:
            case 2:
            case 3:
                text += std::to_string(Below(5000));
                break;
            case 4:
                text += "-" + std::to_string(Below(100000));
                break;
            case 5: {
                const std::uint32_t from = Below(64);
                text += std::to_string(from) + "&&" + std::to_string(from + Below(16));
                break;
            }
            case 6:
                text += "0x" + std::to_string(10 + Below(89)) + "AF";
                break;
            case 7:
                text += std::to_string(Below(1000)) + "." + std::to_string(Below(100));
                break;
            case 8:
            case 9: {
                static const char* const kWords[] = {
                    "enable", "disable", "auto", "full-duplex", "gigabit_eth", "tdm", "sdh-stm16"};
                text += kWords[Below(7)];
                break;
            }
            case 12: {
                static const char* const kOdd[] = {
                    "12.", "-1.50", "0x0", "0xffffffff", "0X1F",        "12-3",
                    "1e5", "-0x10", "-",   "2147483648", "-2147483649", "99999999999999999999",
                    "007", "_x-"};
                text += kOdd[Below(14)];
                break;
            }
            case 13:
                text += "5&&" + std::to_string(Below(5));  // backward or short
                break;
            case 14:
                text += "2147483640&&2147483647";
                break;
            case 15:
                text += "\"\"";
                break;
            default: {
                text += "\"";
                const std::uint32_t length = 3 + Below(40);
                for (std::uint32_t i = 0; i < length; ++i) {
                    const std::uint32_t c = Below(40);
                    if (c == 0)
                        text += "\\\"";
                    else if (c == 1)
                        text += "\\\\";
                    else
                        text += static_cast<char>(c < 10 ? ' ' : 'a' + c % 26);
                }
                text += "\"";
                break;
            }
        }
    }

    std::uint32_t state_;
    bool varied_;
};

}  // namespace parser
}  // namespace NSQX_script
