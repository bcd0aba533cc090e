// Reading the script header: encoding, slot flag and script version.

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>

#include "file/ScriptReader.h"
#include "qx_scriptutil/QXConvertDataStorage.h"
#include "qx_scriptutil/TScriptFileImpl.h"

namespace NSQX_script {
namespace {

// Reads at most n bytes from the start of the stream as a text ending at the first NUL.
std::string ReadHead(FILE* stream, std::size_t n) {
    std::string head(n, '\0');
    std::fseek(stream, 0, SEEK_SET);
    const std::size_t got = std::fread(&head[0], 1, n, stream);
    head.resize(got);
    const std::size_t nul = head.find('\0');
    if (nul != std::string::npos) head.resize(nul);
    return head;
}

}  // namespace

bool TScriptFileImpl::GetScriptPara(FILE* stream, bool& isSlotFlag11, bool& hasSlotFlag) {
    if (stream == nullptr) return false;
    ReadHeaderFlags(ReadHead(stream, 1024), isSlotFlag11, hasSlotFlag);
    return true;
}

void TScriptFileImpl::ReadHeader() {
    // The head comes from the first block already read, never from a seek: a pipe cannot
    // seek back.
    ScriptReadBuffer& r = *m_reader;
    r.Reset();
    r.Fill(m_stream);
    r.holdsStart = true;
    std::string head(r.data.get(), std::min<std::size_t>(r.end, 1024));
    const std::size_t nul = head.find('\0');
    if (nul != std::string::npos) head.resize(nul);
    ReadHeaderFlags(head, m_slotFlag11, m_hasSlotFlag);
    if (head.size() > 512) head.resize(512);
    ReadScriptVersion(head);
}

void TScriptFileImpl::ReadHeaderFlags(const std::string& head, bool& isSlotFlag11,
                                      bool& hasSlotFlag) {
    const TScriptHeader header = ReadScriptHeader(head);
    QXConvertDataStorage* store = QXConvertDataStorage::Instance();
    if (!header.encoding.empty()) {
        m_encoding = header.encoding;
    } else if (store->ScriptONELanIsEn()) {
        m_encoding = "ISO8859-1";
    } else if (head.find("Idle Optical NE") != std::string::npos) {
        // From now on every script without an encoding line is single-language English.
        store->SetScriptONELanEn(true);
        m_encoding = "ISO8859-1";
    } else {
        m_encoding = "GBK";
    }
    hasSlotFlag = header.hasSlotFlag;
    isSlotFlag11 = header.slotFlag11;
}

void TScriptFileImpl::ReadScriptVersion(const std::string& head) {
    m_scriptVersion = ReadScriptHeader(head).version;
}

}  // namespace NSQX_script
