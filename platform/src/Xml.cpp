#include "qx_platform/Xml.h"

#include <expat.h>

#include <cerrno>
#include <cstring>
#include <map>
#include <mutex>

#include "qx_platform/Files.h"
#include "qx_platform/Strings.h"
#include "qx_platform/Trace.h"

namespace qxp {

namespace {

// Deeper documents are refused: the tree is freed recursively.
constexpr std::size_t kMaxDepth = 1000;

// Builds the element tree while expat reads; the stack holds the open elements. Only the
// last child of a node can be open, so growing a parent's child list moves no open element.
struct TreeBuilder {
    XmlNode* root;
    std::vector<XmlNode*> open;
    bool started = false;
    bool tooDeep = false;
    XML_Parser parser = nullptr;
    // Where the refused element starts: once stopped, expat's position is past it.
    unsigned long deepLine = 0;
    unsigned long deepColumn = 0;
};

void XMLCALL OnStart(void* data, const XML_Char* name, const XML_Char** attrs) {
    auto* b = static_cast<TreeBuilder*>(data);
    if (b->open.size() >= kMaxDepth) {
        b->tooDeep = true;
        b->deepLine = static_cast<unsigned long>(XML_GetCurrentLineNumber(b->parser));
        b->deepColumn = static_cast<unsigned long>(XML_GetCurrentColumnNumber(b->parser)) + 1;
        XML_StopParser(b->parser, XML_FALSE);
        return;
    }
    XmlNode* node = b->root;
    if (b->open.empty()) {
        b->started = true;
    } else {
        b->open.back()->children.emplace_back();
        node = &b->open.back()->children.back();
    }
    node->name = name;
    for (const XML_Char** a = attrs; a != nullptr && a[0] != nullptr; a += 2) {
        node->attributes.emplace_back(a[0], a[1]);
    }
    b->open.push_back(node);
}

void XMLCALL OnEnd(void* data, const XML_Char*) {
    auto* b = static_cast<TreeBuilder*>(data);
    if (!b->open.empty()) b->open.pop_back();
}

struct ParserDeleter {
    void operator()(XML_ParserStruct* p) const { XML_ParserFree(p); }
};

struct StreamCloser {
    void operator()(FILE* f) const { OrinFileClose(f); }
};

const char* FindAttr(const char** attrs, const char* name) {
    if (attrs == nullptr || name == nullptr) return nullptr;
    for (const char** a = attrs; a[0] != nullptr; a += 2) {
        if (std::strcmp(a[0], name) == 0) return a[1];
    }
    return nullptr;
}

}  // namespace

const char* XmlNode::Attribute(const char* attrName) const {
    if (attrName == nullptr) return nullptr;
    for (const auto& attr : attributes) {
        if (attr.first == attrName) return attr.second.c_str();
    }
    return nullptr;
}

namespace {

bool Fail(XmlError* error, unsigned long line, unsigned long column, const char* reason) {
    if (error != nullptr) *error = XmlError{line, column, reason};
    return false;
}

}  // namespace

bool XmlParseFile(const std::string& path, XmlNode& root, XmlError* error) {
    std::unique_ptr<FILE, StreamCloser> file(OrinFileOpen(path.c_str(), "rb"));
    if (!file) {
        const char* reason = std::strerror(OrinGetLastError());
        QXTrace(kTraceError, "XML file %s cannot be read, line 0: %s", path.c_str(), reason);
        return Fail(error, 0, 0, reason);
    }
    std::unique_ptr<XML_ParserStruct, ParserDeleter> parser(XML_ParserCreate(nullptr));
    if (!parser) {
        QXTrace(kTraceError, "XML file %s: no parser could be created", path.c_str());
        return Fail(error, 0, 0, "no parser could be created");
    }
    XmlNode tree;
    TreeBuilder builder{&tree, {}};
    builder.parser = parser.get();
    XML_SetUserData(parser.get(), &builder);
    XML_SetElementHandler(parser.get(), OnStart, OnEnd);

    char buf[8192];
    for (;;) {
        const std::size_t n = std::fread(buf, 1, sizeof buf, file.get());
        const bool last = n < sizeof buf;
        const auto line = [&] {
            return static_cast<unsigned long>(XML_GetCurrentLineNumber(parser.get()));
        };
        if (last && std::ferror(file.get())) {
            const char* reason = std::strerror(errno);
            QXTrace(kTraceError, "XML file %s cannot be read, line %lu: %s", path.c_str(), line(),
                    reason);
            return Fail(error, line(), 0, reason);
        }
        if (XML_Parse(parser.get(), buf, static_cast<int>(n), last ? XML_TRUE : XML_FALSE) ==
            XML_STATUS_ERROR) {
            const char* message = builder.tooDeep ? "elements nested too deeply"
                                                  : XML_ErrorString(XML_GetErrorCode(parser.get()));
            if (message == nullptr) message = "unknown error";
            QXTrace(kTraceError, "XML parse error in file %s at line %lu: %s", path.c_str(), line(),
                    message);
            if (builder.tooDeep) return Fail(error, builder.deepLine, builder.deepColumn, message);
            return Fail(error, line(),
                        static_cast<unsigned long>(XML_GetCurrentColumnNumber(parser.get())) + 1,
                        message);
        }
        if (last) break;
    }
    root = std::move(tree);
    return true;
}

bool XmlAttrText(const char** attrs, const char* name, std::string& value) {
    const char* found = FindAttr(attrs, name);
    if (found == nullptr) return false;
    value = found;
    return true;
}

bool XmlAttrInt(const char** attrs, const char* name, long& value) {
    const char* found = FindAttr(attrs, name);
    return found != nullptr && QXStr2Int(found, value, 10);
}

namespace {

struct RegistryState {
    mutable std::mutex mutex;
    std::map<std::string, XmlInterpreter*> interpreters;
};

RegistryState& Registry() {
    static auto* state = new RegistryState;  // lives for the process
    return *state;
}

}  // namespace

XmlInterpreterRegistry* XmlInterpreterRegistry::Instance() {
    static auto* registry = new XmlInterpreterRegistry;
    return registry;
}

void XmlInterpreterRegistry::Register(const std::string& name, XmlInterpreter* interpreter) {
    RegistryState& s = Registry();
    std::lock_guard<std::mutex> lock(s.mutex);
    if (interpreter == nullptr) {
        s.interpreters.erase(name);
    } else {
        s.interpreters[name] = interpreter;
    }
}

void XmlInterpreterRegistry::Unregister(const std::string& name) {
    RegistryState& s = Registry();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.interpreters.erase(name);
}

XmlInterpreter* XmlInterpreterRegistry::Find(const std::string& name) const {
    const RegistryState& s = Registry();
    std::lock_guard<std::mutex> lock(s.mutex);
    const auto it = s.interpreters.find(name);
    return it == s.interpreters.end() ? nullptr : it->second;
}

int XmlInterpreterRegistry::ParseFile(const std::string& path, const std::string& interpreterName) {
    XmlInterpreter* interpreter = Find(interpreterName);
    if (interpreter == nullptr) {
        QXTrace(kTraceError, "No XML interpreter named %s for file %s", interpreterName.c_str(),
                path.c_str());
        return -1;
    }
    XmlNode root;
    if (!XmlParseFile(path, root)) return -1;
    // Called without the registry lock: an interpreter may register others.
    return interpreter->Interpret(root);
}

}  // namespace qxp
