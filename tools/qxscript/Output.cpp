#include "Output.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace qxscript {

namespace {
FILE* g_out = nullptr;
int g_lastError = 0;
bool g_quiet = false;
}  // namespace

void Output::Capture(bool verbose) {
    std::fflush(stdout);
    const int keep = dup(STDOUT_FILENO);
    if (keep < 0) return;
    FILE* out = fdopen(keep, "w");
    if (out == nullptr) {
        close(keep);
        return;
    }
    const int sink = verbose ? dup(STDERR_FILENO) : open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (sink >= 0) {
        dup2(sink, STDOUT_FILENO);
        close(sink);
    }
    g_out = out;
}

FILE* Output::Stream() {
    return g_out != nullptr ? g_out : stdout;
}

void Output::Line(const std::string& text) {
    Write(Stream(), text + "\n");
}

bool Output::Write(FILE* out, const std::string& text) {
    errno = 0;
    if (std::fwrite(text.data(), 1, text.size(), out) == text.size()) return true;
    if (g_lastError == 0) g_lastError = errno != 0 ? errno : EIO;
    return false;
}

bool Output::Flush() {
    FILE* out = Stream();
    errno = 0;
    if (std::fflush(out) == 0 && !std::ferror(out)) return true;
    if (g_lastError == 0) g_lastError = errno != 0 ? errno : EIO;
    return false;
}

bool Output::FlushOrSay() {
    if (Flush()) return true;
    Error(std::string("cannot write to standard output: ") + std::strerror(LastError()));
    return false;
}

int Output::LastError() {
    return g_lastError != 0 ? g_lastError : EIO;
}

void Error(const std::string& text) {
    std::fprintf(stderr, "qxscript: %s\n", text.c_str());
}

void Note(const std::string& text) {
    if (!g_quiet) std::fprintf(stderr, "%s\n", text.c_str());
}

void SetQuiet(bool quiet) {
    g_quiet = quiet;
}
bool Quiet() {
    return g_quiet;
}

}  // namespace qxscript
