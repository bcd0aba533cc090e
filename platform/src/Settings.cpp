#include "qx_platform/Settings.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <mutex>
#include <optional>

#include "qx_platform/Control.h"
#include "qx_platform/Files.h"
#include "qx_platform/Trace.h"

namespace qxp {

namespace {

using Section = std::map<std::string, std::string>;

// Settings from the configuration file and the overrides on top; one mutex guards all of it.
struct SettingsState {
    std::mutex mutex;
    bool loaded = false;
    std::map<std::string, Section> file;
    std::map<std::string, Section> regOverrides;
    std::map<std::string, Section> userCfgOverrides;
    std::optional<std::string> versionOverride;
    std::optional<std::string> rootOverride;
    std::map<int, std::string> userOverrides;
};

SettingsState& State() {
    static auto* state = new SettingsState;  // lives for the process
    return *state;
}

std::string Trim(const std::string& s) {
    const auto first = s.find_first_not_of(" \t\r\n");
    if (first == std::string::npos) return std::string();
    const auto last = s.find_last_not_of(" \t\r\n");
    return s.substr(first, last - first + 1);
}

// INI text: "[section]" lines, "key = value" lines, "#" or ";" comment lines.
void ParseConfig(const char* path, FILE* f, std::map<std::string, Section>& out) {
    std::string section;
    std::string line;
    int lineNo = 0;
    for (int c = 0; c != EOF;) {
        line.clear();
        while ((c = std::fgetc(f)) != EOF && c != '\n') line.push_back(static_cast<char>(c));
        if (c == EOF && line.empty()) break;
        ++lineNo;
        const std::string text = Trim(line);
        if (text.empty() || text[0] == '#' || text[0] == ';') continue;
        if (text.front() == '[' && text.back() == ']') {
            section = Trim(text.substr(1, text.size() - 2));
            continue;
        }
        const auto eq = text.find('=');
        if (eq == std::string::npos || eq == 0) {
            QXTrace(kTraceWarning, "Platform configuration %s line %d ignored: %s", path, lineNo,
                    text.c_str());
            continue;
        }
        out[section][Trim(text.substr(0, eq))] = Trim(text.substr(eq + 1));
    }
}

// Reads the configuration file on first use after start or ResetOverrides. Caller holds the
// mutex.
void EnsureLoaded(SettingsState& s) {
    if (s.loaded) return;
    s.loaded = true;
    s.file.clear();
    const char* path = std::getenv("QX_PLATFORM_CONFIG");
    if (path == nullptr || *path == '\0') return;
    FILE* f = std::fopen(path, "r");
    if (f == nullptr) {
        QXTrace(kTraceError, "Platform configuration %s cannot be read: errno %d", path, errno);
        return;
    }
    ParseConfig(path, f, s.file);
    std::fclose(f);
}

const std::string* Find(const std::map<std::string, Section>& sections, const std::string& section,
                        const std::string& key) {
    const auto sec = sections.find(section);
    if (sec == sections.end()) return nullptr;
    const auto it = sec->second.find(key);
    return it == sec->second.end() ? nullptr : &it->second;
}

std::string WithSlash(std::string path) {
    if (path.empty()) return "./";
    if (path.back() != '/') path.push_back('/');
    return path;
}

const std::string& LoginName() {
    static const std::string name = [] {
        struct passwd pw;
        struct passwd* found = nullptr;
        char buf[4096];
        if (getpwuid_r(geteuid(), &pw, buf, sizeof buf, &found) == 0 && found != nullptr) {
            return std::string(found->pw_name);
        }
        char login[256];
        if (getlogin_r(login, sizeof login) == 0) return std::string(login);
        return std::string("unknown");
    }();
    return name;
}

}  // namespace

void SetRegString(const std::string& section, const std::string& key, const std::string& value) {
    SettingsState& s = State();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.regOverrides[section][key] = value;
}

void SetUserCfgItem(const std::string& section, const std::string& name, const std::string& value) {
    SettingsState& s = State();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.userCfgOverrides[section][name] = value;
}

void SetServerVersionName(const std::string& name) {
    SettingsState& s = State();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.versionOverride = name;
}

void SetAppRootPath(const std::string& path) {
    SettingsState& s = State();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.rootOverride = path;
}

void SetUserName(int userId, const std::string& name) {
    SettingsState& s = State();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.userOverrides[userId] = name;
}

void ResetOverrides() {
    SetFixedTime(-1);
    SettingsState& s = State();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.regOverrides.clear();
    s.userCfgOverrides.clear();
    s.versionOverride.reset();
    s.rootOverride.reset();
    s.userOverrides.clear();
    s.loaded = false;
}

bool OrinGetRegString(const char* section, const char* key, std::string& value) {
    if (section == nullptr || key == nullptr) return false;
    SettingsState& s = State();
    std::lock_guard<std::mutex> lock(s.mutex);
    EnsureLoaded(s);
    const std::string* found = Find(s.regOverrides, section, key);
    if (found == nullptr) found = Find(s.file, std::string("registry.") + section, key);
    if (found == nullptr) return false;
    value = *found;
    return true;
}

int OrinGetUserCfgItem(const char* section, const char* name, std::string& value) {
    if (section == nullptr || name == nullptr) return -1;
    SettingsState& s = State();
    std::lock_guard<std::mutex> lock(s.mutex);
    EnsureLoaded(s);
    const std::string* found = Find(s.userCfgOverrides, section, name);
    if (found == nullptr) found = Find(s.file, std::string("usercfg.") + section, name);
    if (found == nullptr) return 1;
    value = *found;
    return 0;
}

std::string OrinGetServerVersionName() {
    SettingsState& s = State();
    std::lock_guard<std::mutex> lock(s.mutex);
    EnsureLoaded(s);
    if (s.versionOverride) return *s.versionOverride;
    const std::string* found = Find(s.file, "platform", "server_version");
    return found != nullptr ? *found : std::string();
}

std::string OrinGetAppRootPath() {
    SettingsState& s = State();
    std::lock_guard<std::mutex> lock(s.mutex);
    EnsureLoaded(s);
    if (s.rootOverride) return WithSlash(*s.rootOverride);
    const std::string* found = Find(s.file, "platform", "root_path");
    return WithSlash(found != nullptr ? *found : std::string());
}

std::string OrinGetPackagePath(const char* dir1, const char* dir2) {
    const std::string root = OrinGetAppRootPath();
    std::string first;
    for (const char* dir : {dir1, dir2}) {
        if (dir == nullptr || *dir == '\0') continue;
        std::string candidate = root + dir;
        while (candidate.size() > 1 && candidate.back() == '/') candidate.pop_back();
        if (OrinIsDirectory(candidate.c_str())) return candidate + "/";
        if (first.empty() && dir == dir1) first = candidate + "/";
    }
    return first.empty() ? root : first;
}

std::string OrinGetUserName(int userId) {
    {
        SettingsState& s = State();
        std::lock_guard<std::mutex> lock(s.mutex);
        EnsureLoaded(s);
        const auto it = s.userOverrides.find(userId);
        if (it != s.userOverrides.end()) return it->second;
        const std::string* found = Find(s.file, "users", std::to_string(userId));
        if (found != nullptr) return *found;
    }
    return LoginName();
}

}  // namespace qxp
