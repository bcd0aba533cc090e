#include "ScriptInput.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "FileChecks.h"
#include "TempFiles.h"

namespace qxscript {

namespace {

// The reader looks for the encoding line in this many bytes, up to the first NUL.
constexpr std::size_t kEncodingWindow = 1024;
// Header lines are looked for this far.
constexpr std::size_t kHeadBytes = 64 * 1024;

// The three lines the reader recognises, in the order it tests them.
constexpr const char* kEncodings[] = {"UTF-8", "ISO8859-1", "GBK"};

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

std::string Lower(std::string text) {
    for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
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
        ReadHeader(head);
        if (!m_given.empty() && !m_declared.empty() && m_declared != m_given) {
            error = m_name + ": the header declares " + m_declared + ", not " + m_given;
            ok = false;
        }
    }
    const bool tellEncoding = !m_given.empty() && m_declared.empty();
    if (ok && (!regular || tellEncoding)) {
        ok = Spool(fd, head, error);
    } else if (ok) {
        m_path = arg;
    }
    if (fd != STDIN_FILENO) close(fd);
    return ok;
}

bool ScriptInput::Spool(int fd, const std::string& head, std::string& error) {
    const char* dir = std::getenv("TMPDIR");
    std::string pattern =
        std::string(dir != nullptr && *dir != '\0' ? dir : "/tmp") + "/qxscript-in.XXXXXX";
    const int out = mkostemp(pattern.data(), O_CLOEXEC);
    if (out < 0) {
        error = "cannot create a temporary copy of " + m_name + ": " + SystemError(errno);
        return false;
    }
    m_temp = pattern;
    TempFiles::Add(m_temp);
    m_path = m_temp;
    std::string prefix;
    if (!m_given.empty() && m_declared.empty()) {
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

void ScriptInput::ReadHeader(const std::string& head) {
    const std::string window(head.c_str(), std::min(std::strlen(head.c_str()), kEncodingWindow));
    for (const char* encoding : kEncodings) {
        if (window.find(EncodingLine(encoding)) != std::string::npos) {
            m_declared = encoding;
            break;
        }
    }
    unsigned long number = 0;
    for (std::size_t pos = 0; pos < head.size();) {
        std::size_t end = head.find('\n', pos);
        const bool complete = end != std::string::npos;
        if (!complete) end = head.size();
        std::string text = head.substr(pos, end - pos);
        pos = end + 1;
        ++number;
        if (!text.empty() && text.back() == '\r') text.pop_back();
        const std::size_t first = text.find_first_not_of(" \t");
        if (first == std::string::npos) continue;
        if (text.compare(first, 2, "//") != 0) break;  // the body begins
        std::string body = text.substr(first + 2);
        body.erase(0, body.find_first_not_of(' '));
        while (!body.empty() && body.back() == ' ') body.pop_back();
        m_header.push_back({number, body});
        // Taken when it lies whole in the window; any other mention of an encoding is not.
        const std::size_t at = window.find(text);
        const bool seen = at != std::string::npos && at + text.size() <= window.size();
        const bool recognised =
            seen && std::any_of(std::begin(kEncodings), std::end(kEncodings), [&](const char* e) {
                return text.find(EncodingLine(e)) != std::string::npos;
            });
        if (!recognised && Lower(text).find("encoding") != std::string::npos) {
            m_unrecognised.push_back({number, text});
        }
        if (!complete) break;
    }
}

}  // namespace qxscript
