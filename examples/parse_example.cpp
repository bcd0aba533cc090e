// Parses the MML commands of a text file and prints each command's parameter tree.
//
//   qx_parse_example FILE
//
// Commands end at ";" outside double quotes; "//" and "/* */" comments are skipped.

#include <cstdio>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>

#include "qx_scriptutil.h"

using namespace NSQX_script;

namespace {

const char* TypeName(const QXValue& v) {
    switch (v.GetType()) {
        case QXValue::kString:
            return "text";
        case QXValue::kInt32:
            return "int32";
        case QXValue::kInt64:
            return "int64";
        case QXValue::kDouble:
            return "double";
        case QXValue::kEmpty:
            break;
    }
    return "empty";
}

void PrintParas(const std::vector<MMLParaStruct>& paras, int depth) {
    const std::string indent(static_cast<std::size_t>(depth) * 2, ' ');
    for (const MMLParaStruct& p : paras) {
        std::cout << indent << p.name.As_std_string() << " =";
        for (const QXValue& v : p.values) {
            std::cout << ' ' << v.As_std_string() << " (" << TypeName(v) << ')';
        }
        std::cout << '\n';
        for (std::size_t g = 0; g < p.objects.size(); ++g) {
            std::cout << indent << "  group " << g + 1 << ":\n";
            PrintParas(p.objects[g], depth + 2);
        }
    }
}

// Splits the text into command texts, dropping comments; each text ends with its ";".
std::vector<std::pair<int, std::string>> SplitCommands(const std::string& text) {
    std::vector<std::pair<int, std::string>> out;
    std::string current;
    int line = 1;
    bool quoted = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '\n') ++line;
        if (!quoted && c == '/' && i + 1 < text.size() && text[i + 1] == '/') {
            while (i < text.size() && text[i] != '\n') ++i;
            ++line;
            current += ' ';
            continue;
        }
        if (!quoted && c == '/' && i + 1 < text.size() && text[i + 1] == '*') {
            const std::size_t end = text.find("*/", i + 2);
            const std::size_t stop = end == std::string::npos ? text.size() : end + 2;
            for (std::size_t k = i; k < stop; ++k) line += text[k] == '\n';
            i = stop - 1;
            current += ' ';
            continue;
        }
        if (c == '"' && (i == 0 || text[i - 1] != '\\')) quoted = !quoted;
        if (c == '\r') continue;
        current += c == '\n' ? ' ' : c;
        if (c == ';' && !quoted) {
            const std::size_t first = current.find_first_not_of(' ');
            out.emplace_back(line, current.substr(first));
            current.clear();
        }
    }
    return out;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: " << argv[0] << " FILE\n";
        return 2;
    }
    std::ifstream in(argv[1], std::ios::binary);
    if (!in) {
        std::cerr << argv[1] << ": cannot open\n";
        return 2;
    }
    std::stringstream buffer;
    buffer << in.rdbuf();

    int failures = 0;
    MMLCmdStruct cmd;
    for (const auto& [line, text] : SplitCommands(buffer.str())) {
        std::cout.flush();
        const int rc = AnalyseOneCommandEx(text, cmd);
        std::fflush(stdout);
        if (rc != 0) {
            std::cout << argv[1] << ':' << line << ": error: cannot parse command (" << rc
                      << ")\n";
            ++failures;
            continue;
        }
        std::cout << argv[1] << ':' << line << ": " << cmd.cmdName << '\n';
        PrintParas(cmd.paraList, 1);
    }
    return failures == 0 ? 0 : 1;
}
