#include "qx_scriptutil/TScriptCmd.h"

namespace NSQX_script {
namespace {

using Groups = std::vector<std::vector<MMLParaStruct>>;

// Makes `to` a copy of `from`, level by level, reusing the elements `to` already has.
void CopyGroups(const Groups& from, Groups& to) {
    std::vector<std::pair<const Groups*, Groups*>> work{{&from, &to}};
    while (!work.empty()) {
        const auto [source, target] = work.back();
        work.pop_back();
        // Each target vector is sized once, before its children are queued, so the pointers
        // queued into it stay valid.
        target->resize(source->size());
        for (std::size_t g = 0; g < source->size(); ++g) {
            const std::vector<MMLParaStruct>& in = (*source)[g];
            std::vector<MMLParaStruct>& out = (*target)[g];
            out.resize(in.size());
            for (std::size_t i = 0; i < in.size(); ++i) {
                out[i].name = in[i].name;
                out[i].values = in[i].values;
                if (!in[i].objects.empty() || !out[i].objects.empty()) {
                    work.emplace_back(&in[i].objects, &out[i].objects);
                }
            }
        }
    }
}

// Empties the groups level by level, so that each destructor below finds no groups of its own.
void ReleaseGroups(Groups& groups) {
    std::vector<Groups> work;
    work.push_back(std::move(groups));
    while (!work.empty()) {
        Groups level = std::move(work.back());
        work.pop_back();
        for (std::vector<MMLParaStruct>& group : level) {
            for (MMLParaStruct& para : group) {
                if (!para.objects.empty()) work.push_back(std::move(para.objects));
            }
        }
    }
}

}  // namespace

MMLParaStruct::MMLParaStruct(const MMLParaStruct& other) : name(other.name), values(other.values) {
    if (!other.objects.empty()) CopyGroups(other.objects, objects);
}

MMLParaStruct& MMLParaStruct::operator=(const MMLParaStruct& other) {
    if (this == &other) return *this;
    if (other.objects.empty()) {
        name = other.name;
        values = other.values;
        if (!objects.empty()) ReleaseGroups(objects);
        objects.clear();
        return *this;
    }
    // The source may lie inside this tree: copy it whole before anything here changes.
    MMLParaStruct copy(other);
    return *this = std::move(copy);
}

MMLParaStruct& MMLParaStruct::operator=(MMLParaStruct&& other) noexcept {
    if (this == &other) return *this;
    name = std::move(other.name);
    values = std::move(other.values);
    // The old groups go through the flat release; the source may lie inside them, so it is
    // moved out first.
    Groups old = std::move(objects);
    objects = std::move(other.objects);
    if (!old.empty()) ReleaseGroups(old);
    return *this;
}

MMLParaStruct::~MMLParaStruct() {
    if (!objects.empty()) ReleaseGroups(objects);
}

void TScriptCmdRef::DeleteAllPara() {
    if (m_pParaList != nullptr) m_pParaList->clear();
}

TScriptCmd& TScriptCmd::operator=(const TScriptCmd& other) {
    if (this == &other) return *this;
    // Vector assignment reuses the elements (and their storage) that this list already has.
    m_paraList = other.m_paraList;
    m_cmdCode = other.m_cmdCode;
    m_lineNo = other.m_lineNo;
    return *this;
}

TScriptCmd& TScriptCmd::operator=(TScriptCmd&& other) noexcept {
    if (this == &other) return *this;
    m_paraList = std::move(other.m_paraList);
    m_cmdCode = other.m_cmdCode;
    m_lineNo = other.m_lineNo;
    return *this;
}

}  // namespace NSQX_script
