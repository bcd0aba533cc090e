#include "ScriptInput.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>

#include "FileChecks.h"
#include "TempFiles.h"

namespace qxscript {

namespace {

// Header lines are looked for this far.
constexpr std::size_t kHeadBytes = 64 * 1024;

std::string EncodingLine(const std::string& encoding) {
    return "// encoding=\"" + encoding + "\"";
}

// Reads up to limit bytes (fewer only at the end of the input); false on a read error.
bool ReadUpTo(int fd, std::size_t limit, std::string& out) {
    out.resize(limit);
    std::size_t got = 0;
    while (got < limit) {
        const ssize_t n = read(fd, &out[got], limit - got);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return false;
        if (n == 0) break;
        got += static_cast<std::size_t>(n);
    }
    out.resize(got);
    return true;
}

bool WriteAll(int fd, const char* data, std::size_t size) {
    while (size > 0) {
        const ssize_t n = write(fd, data, size);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        data += n;
        size -= static_cast<std::size_t>(n);
    }
    return true;
}

}  // namespace

ScriptInput::~ScriptInput() {
    if (m_temp.empty()) return;
    unlink(m_temp.c_str());
    TempFiles::Forget(m_temp);
}

bool ScriptInput::Open(const std::string& arg, const std::string& encoding, std::string& error) {
    const bool stdinArg = arg == "-";
    m_name = stdinArg ? "<stdin>" : arg;
    m_given = encoding;
    int fd = STDIN_FILENO;
    if (!stdinArg) {
        struct stat st {};
        if (stat(arg.c_str(), &st) != 0) {
            error = arg + ": " + SystemError(errno);
            return false;
        }
        if (S_ISDIR(st.st_mode)) {
            error = arg + ": is a directory";
            return false;
        }
        fd = open(arg.c_str(), O_RDONLY | O_CLOEXEC);
        if (fd < 0) {
            error = arg + ": " + SystemError(errno);
            return false;
        }
    }
    struct stat st {};
    const bool regular = fstat(fd, &st) == 0 && S_ISREG(st.st_mode) && !stdinArg;
    std::string head;
    bool ok = ReadUpTo(fd, kHeadBytes, head);
    if (!ok) error = m_name + ": " + SystemError(errno);
    if (ok) {
        m_header = NSQX_script::ReadScriptHeader(head);
        KeepHeaderText(head);
        const std::string& declared = m_header.encoding;
        if (!m_given.empty() && !declared.empty() && declared != m_given) {
            error = m_name + ": the header declares " + declared + ", not " + m_given;
            ok = false;
        }
    }
    const bool tellEncoding = !m_given.empty() && m_header.encoding.empty();
    if (ok && (!regular || tellEncoding)) {
        ok = Spool(fd, head, error);
    } else if (ok) {
        m_path = arg;
    }
    if (fd != STDIN_FILENO) close(fd);
    return ok;
}

void ScriptInput::KeepHeaderText(const std::string& head) {
    std::size_t pos = 0;
    unsigned long number = 1;
    for (const NSQX_script::TScriptHeaderLine& line : m_header.lines) {
        for (; number < line.line && pos < head.size(); ++number) {
            pos = std::min(head.find('\n', pos), head.size() - 1) + 1;
        }
        std::size_t end = std::min(head.find('\n', pos), head.size());
        std::string text = head.substr(pos, end - pos);
        if (!text.empty() && text.back() == '\r') text.pop_back();
        m_headerText.push_back(std::move(text));
    }
}

bool ScriptInput::Spool(int fd, const std::string& head, std::string& error) {
    const char* dir = std::getenv("TMPDIR");
    std::string pattern =
        std::string(dir != nullptr && *dir != '\0' ? dir : "/tmp") + "/qxscript-in.XXXXXX";
    const int out = TempFiles::Make(pattern);
    if (out < 0) {
        error = "cannot create a temporary copy of " + m_name + ": " + SystemError(errno);
        return false;
    }
    m_temp = pattern;
    m_path = m_temp;
    std::string prefix;
    if (!m_given.empty() && m_header.encoding.empty()) {
        // A block comment: the reader finds the line in it, the command reader skips it.
        prefix = "/*" + EncodingLine(m_given) + "*/";
        m_shift = prefix.size();
    }
    bool ok =
        WriteAll(out, prefix.data(), prefix.size()) && WriteAll(out, head.data(), head.size());
    std::string block;
    while (ok) {
        if (!ReadUpTo(fd, 1 << 20, block)) {
            error = m_name + ": " + SystemError(errno);
            close(out);
            return false;
        }
        if (block.empty()) break;
        ok = WriteAll(out, block.data(), block.size());
    }
    if (close(out) != 0) ok = false;
    if (!ok) error = "cannot write a temporary copy of " + m_name + ": " + SystemError(errno);
    return ok;
}

}  // namespace qxscript
