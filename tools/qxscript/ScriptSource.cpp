#include "ScriptSource.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <fstream>
#include <set>

#include "FileChecks.h"
#include "NameLock.h"
#include "ProgressBar.h"
#include "qx_platform/CodeSet.h"
#include "qx_platform/Files.h"
#include "qx_scriptutil/CmdNameConvert.h"

namespace qxscript {

using NSQX_script::TScriptCmd;
using NSQX_script::TScriptFileImpl;

bool ScriptSource::Open(const ScriptInput& input, std::string& error) {
    m_input = &input;
    m_log = std::make_unique<FindingLog>();
    m_file = std::make_unique<TScriptFileImpl>(NSQX_script::kNeConfigScript);
    m_file->SetDiagnosticSink(m_log.get());
    if (!m_file->OpenForRead(NSQX_script::kNeConfigScript, nullptr, input.Path().c_str())) {
        const int err = qxp::OrinGetLastError();
        error =
            input.Name() + ": " + (err != 0 ? SystemError(err) : std::string("cannot be opened"));
        return false;
    }
    return true;
}

unsigned long ScriptSource::ForEach(const std::function<bool(TScriptCmd&)>& visit) {
    ProgressBar bar(m_input->Path());
    unsigned long count = 0;
    TScriptCmd cmd;
    // The reader looks each command's name up while it loads the next one.
    const auto next = [&] {
        NameLock::Reading names;
        return m_file->GetOneCommand(cmd);
    };
    {
        NameLock::Reading names;
        m_file->GoToFirstCommand();
    }
    while (next()) {
        ++count;
        bar.At(cmd.GetLineNo());
        if (!visit(cmd)) break;
    }
    return count;
}

std::vector<unsigned long> ScriptSource::FailedLines() const {
    std::vector<unsigned long> lines;
    for (const NSQX_script::TScriptResult& r : m_file->GetCmdAnalyzedResult()) {
        lines.push_back(static_cast<unsigned long>(r.m_kind));
    }
    return lines;
}

std::vector<Finding> ScriptSource::HeaderFindings() const {
    std::vector<Finding> out;
    if (!m_input->GivenEncoding().empty() || !m_input->DeclaredEncoding().empty()) return out;
    const std::string readAs = "the file is read as " + Encoding();
    for (const NSQX_script::TScriptHeaderLine& line : m_input->Header().unrecognisedEncodingLines) {
        out.push_back({Finding::kHeaderWarning, line.line, 0,
                       "encoding line not recognised, " + readAs +
                           " (the reader takes // encoding=\"UTF-8\", \"GBK\" or \"ISO8859-1\" "
                           "within the first 1024 bytes; or give --input-encoding)",
                       line.text});
    }
    if (out.empty()) {
        out.push_back({Finding::kHeaderWarning, 0, 0,
                       "no encoding line in the header, " + readAs + " (give --input-encoding)",
                       std::string()});
    }
    return out;
}

std::vector<Finding> ScriptSource::Findings(std::size_t maxInvalid) const {
    std::vector<Finding> out = HeaderFindings();
    const bool headerGuessed = !out.empty();
    std::size_t errors = 0;
    for (Finding f : m_log->Items()) {
        if (headerGuessed && f.kind != Finding::kError &&
            f.reason.find("encoding") != std::string::npos) {
            continue;  // said above, with the remedy
        }
        const std::size_t shift =
            f.line == 1 ? m_input->Shift() : 0;  // ASCII: bytes are characters
        if (shift != 0 && f.textOffset >= shift) {
            f.textOffset -= shift;
        } else if (shift != 0) {
            f.lineText.erase(0, std::min(shift - f.textOffset, f.lineText.size()));
            f.textOffset = 0;
        }
        if (shift != 0 && f.column != 0) f.column = f.column > shift ? f.column - shift : 1;
        if (f.kind == Finding::kError) ++errors;
        out.push_back(std::move(f));
    }
    // The reader reports one error for each command it records as failed, in the same order;
    // lines cannot pair them, as a failure's error may stand lines before its ";" (a comment
    // left open) and several may share a line. Only failures beyond the errors lack a reason.
    const std::vector<unsigned long> failed = FailedLines();
    const std::vector<unsigned long> unexplained(
        failed.begin() + static_cast<std::ptrdiff_t>(std::min(errors, failed.size())),
        failed.end());
    const std::vector<unsigned long> invalid =
        InvalidLines(m_input->Path(), Encoding(), maxInvalid);
    std::vector<unsigned long> wanted = invalid;
    wanted.insert(wanted.end(), unexplained.begin(), unexplained.end());
    const auto texts = LineTexts(m_input->Path(), m_input->Shift(), Encoding(), wanted);
    for (unsigned long line : unexplained) {
        out.push_back({Finding::kError, line, 0, "command not read (the reader gives no reason)",
                       texts.at(line)});
    }
    for (unsigned long line : invalid) {
        out.push_back(
            {Finding::kError, line, 0, "text is not valid " + Encoding(), texts.at(line)});
    }
    std::stable_sort(out.begin(), out.end(),
                     [](const Finding& a, const Finding& b) { return a.line < b.line; });
    return out;
}

unsigned int ScriptSource::HeaderScriptType() const {
    return m_input->Header().scriptType;
}

std::string ScriptSource::HeaderEmsVersion() const {
    static const std::string kPrefix = "EMS version = ";
    for (const NSQX_script::TScriptHeaderLine& line : m_input->Header().lines) {
        if (line.text.rfind(kPrefix, 0) == 0) return line.text.substr(kPrefix.size());
    }
    return std::string();
}

std::vector<unsigned long> InvalidLines(const std::string& path, const std::string& encoding,
                                        std::size_t limit) {
    std::vector<unsigned long> lines;
    if (encoding == "ISO8859-1") return lines;  // every byte is a character
    std::ifstream in(path, std::ios::binary);
    std::vector<char> block(1 << 20);
    std::string line;  // a line that holds a byte beyond ASCII, gathered across blocks
    std::string converted;
    bool wide = false;  // the current line holds such a byte
    unsigned long lineNo = 1;
    auto finishLine = [&] {
        if (wide && !qxp::OrinCodeSetConvert(encoding.c_str(), "UTF-8", line, converted)) {
            lines.push_back(lineNo);
        }
        line.clear();
        wide = false;
    };
    while (lines.size() < limit && in) {
        in.read(block.data(), static_cast<std::streamsize>(block.size()));
        const char* p = block.data();
        const char* const end = p + in.gcount();
        while (p < end && lines.size() < limit) {
            const char* nl = static_cast<const char*>(std::memchr(p, '\n', end - p));
            const char* stop = nl != nullptr ? nl : end;
            // Only lines with a byte beyond ASCII are kept and converted.
            if (!wide) wide = std::any_of(p, stop, [](char c) { return c & 0x80; });
            if (wide) line.append(p, stop);
            if (nl == nullptr) break;
            finishLine();
            ++lineNo;
            p = nl + 1;
        }
    }
    if (lines.size() < limit) finishLine();
    return lines;
}

std::map<unsigned long, std::string> LineTexts(const std::string& path, std::size_t shift,
                                               const std::string& encoding,
                                               const std::vector<unsigned long>& lines) {
    std::map<unsigned long, std::string> out;
    const std::set<unsigned long> wanted(lines.begin(), lines.end());
    if (wanted.empty()) return out;
    std::ifstream in(path, std::ios::binary);
    std::string line;
    std::string last;
    auto next = wanted.begin();
    for (unsigned long lineNo = 1; next != wanted.end(); ++lineNo) {
        const bool more = static_cast<bool>(std::getline(in, line));
        if (more && lineNo == 1) line.erase(0, std::min(shift, line.size()));
        if (more && line.find_first_not_of(" \t\r") != std::string::npos) last = line;
        if (more && lineNo < *next) continue;
        std::string text;
        if (!qxp::OrinCodeSetConvert(encoding.c_str(), "UTF-8", last, text)) text = last;
        for (; next != wanted.end() && (*next <= lineNo || !more); ++next) out[*next] = text;
    }
    return out;
}

std::string CommandName(unsigned long code) {
    std::string name;
    NameLock::Reading names;
    if (!NSQX_script::CmdNameConvert::GetCorrespondCmdName(name, code)) {
        name = "#" + std::to_string(code);
    }
    return name;
}

}  // namespace qxscript
