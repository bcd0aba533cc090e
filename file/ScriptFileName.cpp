#include "qx_scriptutil/ScriptFileName.h"

#include <cstdio>

namespace NSQX_script {

struct ScriptFileName::Impl {
    std::string fileName;
    unsigned long phyNEID = 0;
    std::string ipAddr;
    std::string prefix;
    std::string encoding;

    void Start(char const* p) {
        phyNEID = 0;
        ipAddr.clear();
        prefix = p ? p : "";
    }

    const std::string& Finish(std::string name, char const* text, char const* enc) {
        if (text != nullptr) name += text;
        // Kept as one constant text, in this order.
        static const char kReplaced[] = "/\\:*?\"<>|'!$;&";
        for (char& c : name) {
            for (const char* r = kReplaced; *r != '\0'; ++r) {
                if (c == *r) {
                    c = '_';
                    break;
                }
            }
        }
        encoding = enc ? enc : "UTF-8";
        fileName = name + "_(" + encoding + ").txt";
        return fileName;
    }
};

ScriptFileName::ScriptFileName() : m_pImpl(new Impl) {}
ScriptFileName::~ScriptFileName() = default;
ScriptFileName::ScriptFileName(const ScriptFileName& other) : m_pImpl(new Impl(*other.m_pImpl)) {}
ScriptFileName& ScriptFileName::operator=(const ScriptFileName& other) {
    if (this != &other) *m_pImpl = *other.m_pImpl;
    return *this;
}

const std::string& ScriptFileName::GenerateFileName(char const* prefix, char const* text,
                                                    char const* encoding) {
    m_pImpl->Start(prefix);
    std::string name = m_pImpl->prefix;
    if (text != nullptr) name += "_";
    return m_pImpl->Finish(std::move(name), text, encoding);
}

const std::string& ScriptFileName::GenerateNEFileName(char const* prefix, unsigned long phyNEID,
                                                      char const* text, char const* encoding) {
    m_pImpl->Start(prefix);
    m_pImpl->phyNEID = phyNEID;
    const std::string name = m_pImpl->prefix + "_" + std::to_string((phyNEID >> 16) & 0xFFFF) +
                             "-" + std::to_string(phyNEID & 0xFFFF) + "_";
    return m_pImpl->Finish(name, text, encoding);
}

const std::string& ScriptFileName::GenerateNEFileName(char const* prefix, char const* ipAddr,
                                                      char const* text, char const* encoding) {
    m_pImpl->Start(prefix);
    const std::string name = m_pImpl->prefix + "_" + (ipAddr ? ipAddr : "") + "_";
    return m_pImpl->Finish(name, text, encoding);
}

bool ScriptFileName::AnalyseFileName(char const* fileName) {
    if (fileName == nullptr) return false;
    Impl& d = *m_pImpl;
    d.fileName = fileName;
    const std::size_t sep = d.fileName.find_last_of("/\\");
    const std::string base = sep == std::string::npos ? d.fileName : d.fileName.substr(sep + 1);
    if (base.empty()) return false;
    const std::size_t first = base.find('_');
    if (first == std::string::npos) return false;
    d.prefix = base.substr(0, first);
    d.phyNEID = 0;
    d.ipAddr.clear();
    const std::size_t second = base.find('_', first + 1);
    if (second == std::string::npos || second == first + 1) return true;

    const std::string part = base.substr(first + 1, second - first);  // with its closing "_"
    unsigned int hex = 0;
    int a = 0, b = 0, c = 0, e = 0;
    if (part[0] == '0') {
        if (std::sscanf(part.c_str(), "0x%X_", &hex) == 1) d.phyNEID = hex;
    } else if (std::sscanf(part.c_str(), "%d-%d_", &a, &b) == 2) {
        d.phyNEID = (static_cast<unsigned long>(static_cast<unsigned int>(a)) << 16) |
                    static_cast<unsigned long>(static_cast<unsigned int>(b));
    } else if (std::sscanf(part.c_str(), "%d.%d.%d.%d_", &a, &b, &c, &e) == 4) {
        d.ipAddr = part.substr(0, part.size() - 1);
    }
    return true;
}

const std::string& ScriptFileName::GetFileName() const {
    return m_pImpl->fileName;
}
unsigned long ScriptFileName::GetPhyNEID() const {
    return m_pImpl->phyNEID;
}
const std::string& ScriptFileName::GetIPAddr() const {
    return m_pImpl->ipAddr;
}
const std::string& ScriptFileName::GetPrefix() const {
    return m_pImpl->prefix;
}
const std::string& ScriptFileName::GetEncoding() const {
    return m_pImpl->encoding;
}

}  // namespace NSQX_script
