#include "InputList.h"

#include <dirent.h>
#include <fnmatch.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <set>
#include <utility>

#include "FileChecks.h"

namespace qxscript {

namespace {

using DirId = std::pair<dev_t, ino_t>;

std::string Join(const std::string& dir, const std::string& name) {
    return dir.empty() || dir.back() == '/' ? dir + name : dir + "/" + name;
}

std::string BaseName(const std::string& path) {
    std::string p = path;
    while (p.size() > 1 && p.back() == '/') p.pop_back();
    const std::size_t slash = p.rfind('/');
    return slash == std::string::npos ? p : p.substr(slash + 1);
}

class Walker {
  public:
    Walker(const InputWalk& walk, std::vector<InputItem>& out) : m_walk(walk), m_out(out) {}

    void Directory(const std::string& dir, const std::string& relative, const struct stat& st) {
        if (!m_seen.insert({st.st_dev, st.st_ino}).second) return;  // walked already: a loop
        DIR* d = opendir(dir.c_str());
        if (d == nullptr) {
            m_out.push_back({dir, relative, dir + ": " + SystemError(errno)});
            return;
        }
        std::vector<std::string> names;
        while (const dirent* e = readdir(d)) {
            if (e->d_name[0] != '.') names.emplace_back(e->d_name);
        }
        closedir(d);
        std::sort(names.begin(), names.end());
        for (const std::string& name : names) {
            const std::string path = Join(dir, name);
            const std::string rel = relative.empty() ? name : relative + "/" + name;
            struct stat entry {};
            if (stat(path.c_str(), &entry) != 0) {
                // A dangling link is not a script; anything else the user should hear of.
                if (errno != ENOENT) m_out.push_back({path, rel, path + ": " + SystemError(errno)});
                continue;
            }
            if (S_ISDIR(entry.st_mode)) {
                Directory(path, rel, entry);
            } else if (fnmatch(m_walk.include.c_str(), name.c_str(), 0) == 0) {
                m_out.push_back({path, rel, std::string()});
            }
        }
    }

  private:
    const InputWalk& m_walk;
    std::vector<InputItem>& m_out;
    std::set<DirId> m_seen;
};

}  // namespace

std::vector<InputItem> ListInputs(const std::vector<std::string>& args, const InputWalk& walk) {
    std::vector<InputItem> out;
    Walker walker(walk, out);
    for (const std::string& arg : args) {
        struct stat st {};
        if (arg != "-" && stat(arg.c_str(), &st) == 0 && S_ISDIR(st.st_mode)) {
            if (walk.recursive) {
                walker.Directory(arg, std::string(), st);
            } else {
                out.push_back({arg, BaseName(arg), arg + ": is a directory (give -r to read it)"});
            }
            continue;
        }
        // Files, "-" and what does not exist: the reader says what is wrong with them.
        out.push_back({arg, arg == "-" ? "-" : BaseName(arg), std::string()});
    }
    return out;
}

}  // namespace qxscript
