#include "ScriptSink.h"

#include "CommandView.h"
#include "FileChecks.h"
#include "ScriptSource.h"

namespace qxscript {

bool ScriptSink::Open(const std::string& target, unsigned int scriptType, std::string& error,
                      const std::vector<std::string>* header, const HeaderFields& fields) {
    if (!m_output.Begin(target, error)) return false;
    m_file = std::make_unique<NSQX_script::TScriptFileImpl>(scriptType);
    m_file->SetDiagnosticSink(&m_log);
    if (!fields.encoding.empty() && !m_file->SetEncoding(fields.encoding.c_str())) {
        error = "cannot write in " + fields.encoding;
        return false;
    }
    if (fields.version) m_file->SetHeaderVersion(*fields.version);
    if (!fields.emsVersion.empty() && !m_file->SetHeaderEmsVersion(fields.emsVersion.c_str())) {
        error = "the EMS version \"" + EscapeForTerminal(fields.emsVersion) +
                "\" cannot stand on one header line";
        return false;
    }
    if (!m_file->OpenForWrite(scriptType, nullptr, m_output.TempPath().c_str(), 0,
                              header == nullptr)) {
        error = "cannot write " + m_file->LastError();
        return false;
    }
    for (std::size_t i = 0; header != nullptr && i <= header->size(); ++i) {
        const std::string line = i < header->size() ? (*header)[i] + "\n" : "\n";
        if (!m_file->WriteString(line.c_str())) {
            error = "cannot write " + m_file->LastError();
            return false;
        }
    }
    return true;
}

ScriptSink::Result ScriptSink::Write(NSQX_script::TScriptCmd& cmd, const std::string& source,
                                     std::string& error) {
    const std::size_t reported = m_log.Items().size();
    bool ok = false;
    if (cmd.GetParaList().empty()) {
        // The writer leaves commands without parameters out; they are kept as they read.
        const std::string text = ":" + CommandName(cmd.GetCmdCode()) + ":{};\n\n";
        ok = m_file->WriteString(text.c_str());
    } else {
        PrepareForWriting(cmd.GetParaList());
        ok = m_file->WriteCommand(cmd);
    }
    if (ok) return kWritten;
    if (m_log.Items().size() > reported) {
        error = EscapeForTerminal(source) + ":" + std::to_string(cmd.GetLineNo()) +
                ": error: " + m_log.Items().back().reason;
        return kRefused;
    }
    error = "cannot write " + m_file->LastError();
    return kFailed;
}

bool ScriptSink::Finish(std::string& error) {
    // The last block reaches the file here, so a full disk may show only now.
    if (!m_file->Close()) {
        error = "cannot write " + m_file->LastError();
        return false;
    }
    m_file.reset();
    return m_output.Commit(error);
}

}  // namespace qxscript
