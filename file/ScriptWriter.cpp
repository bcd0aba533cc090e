#include "file/ScriptWriter.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "cmd/CommandLayout.h"
#include "qx_platform/CodeSet.h"
#include "qx_platform/Trace.h"

namespace NSQX_script {
namespace {

bool IsAscii(std::string_view text) {
    const unsigned char* p = reinterpret_cast<const unsigned char*>(text.data());
    const unsigned char* const end = p + text.size();
    std::uint64_t bits = 0;
    for (; end - p >= 8; p += 8) {
        std::uint64_t word;
        std::memcpy(&word, p, 8);
        bits |= word;
    }
    for (; p < end; ++p) bits |= *p;
    return (bits & 0x8080808080808080ull) == 0;
}

}  // namespace

qxp::Status ScriptWriter::Open(qxp::Env& env, const std::string& path, qxp::WriteMode mode) {
    Close();
    m_status = qxp::Status::OK();
    m_outputLine = 1;
    std::unique_ptr<qxp::WritableFile> file;
    const qxp::Status s = env.NewWritableFile(path, mode, &file);
    if (s.ok()) m_file.get() = std::move(file);
    return s;
}

bool ScriptWriter::Append(std::string_view bytes) {
    if (!m_status.ok()) return false;
    m_status = m_file.get()->Append(bytes.data(), bytes.size());
    return m_status.ok();
}

bool ScriptWriter::WriteBytes(std::string_view bytes, const ScriptContext& context) {
    if (!IsOpen()) return false;
    if (bytes.empty()) return true;
    if (!Append(bytes)) return false;
    if (context.sink != nullptr) {
        m_outputLine += static_cast<unsigned long>(std::count(bytes.begin(), bytes.end(), '\n'));
    }
    return true;
}

bool ScriptWriter::WriteText(std::string_view text, const ScriptContext& context) {
    if (IsAscii(text)) return WriteBytes(text, context);
    return WriteEncoded(text, context);
}

bool ScriptWriter::WriteEncoded(std::string_view text, const ScriptContext& context) {
    if (!IsOpen()) return false;
    const std::string& encoding = context.encoding;
    std::string& in = m_in.get();
    std::string& out = m_out.get();
    in.assign(text.data(), text.size());
    std::string_view bytes = in;
    // A text already right in the file's encoding (UTF-8 into a UTF-8 file) is moved, not copied.
    if (qxp::OrinCodeSetConvertTaking("UTF-8", encoding.c_str(), in, out)) {
        bytes = out;
    } else {
        // The other single-byte encoding is tried before writing the text unconverted; the
        // header still names the file's own encoding.
        const char* second =
            encoding == "GBK" ? "ISO8859-1" : (encoding == "ISO8859-1" ? "GBK" : "");
        if (qxp::OrinCodeSetConvert("UTF-8", second, in, out)) {
            bytes = out;
        } else {
            qxp::QXTrace(
                qxp::kTraceError,
                "Script export write string failed! It will write originally str. %s to %s",
                in.c_str(), encoding.c_str());
        }
    }
    if (!Append(bytes)) return false;
    // Lines are counted in the text as given: the encodings keep line feeds as they are.
    if (context.sink != nullptr) {
        m_outputLine += static_cast<unsigned long>(std::count(text.begin(), text.end(), '\n'));
    }
    return true;
}

bool ScriptWriter::WriteLayout(CommandLayout& layout, const ScriptContext& context) {
    if (!IsOpen()) return false;
    const std::string_view text = layout.View();
    if (text.empty()) return true;
    // Valid UTF-8 into a UTF-8 file is what the conversion would write unchanged; the layout
    // knows it from its non-ASCII texts alone, without going over the whole text again.
    if (layout.IsAscii() || (context.encoding == "UTF-8" && layout.IsKnownUtf8()))
        return WriteBytes(text, context);
    return WriteEncoded(text, context);
}

qxp::Status ScriptWriter::Close() {
    std::unique_ptr<qxp::WritableFile>& file = m_file.get();
    if (!file) return m_status;
    const qxp::Status closed = file->Close();
    file.reset();
    if (m_status.ok()) m_status = closed;
    return m_status;
}

}  // namespace NSQX_script
