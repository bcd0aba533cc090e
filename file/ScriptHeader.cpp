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

unsigned long Hex(const std::string& s, std::size_t pos, std::size_t len) {
    unsigned int v = 0;
    if (std::sscanf(s.substr(pos, len).c_str(), "%x", &v) != 1) return 0;
    return v;
}

// "VxRxxxCxxBxxx", such as V200R007C03B100. The last part is added without masking, so a
// build number of 0x100 or more carries into the byte above.
bool ParseLongVersion(const std::string& s, unsigned long& version) {
    if (s.size() != 15 || s[0] != 'V' || s[4] != 'R' || s[8] != 'C' || s[11] != 'B') return false;
    unsigned long v = Hex(s, 1, 1);
    v = v * 256 + Hex(s, 5, 3);
    v = v * 256 + Hex(s, 9, 2);
    v = v * 256 + Hex(s, 12, 3);
    version = v;
    return true;
}

// "VxRxxxCxx" and one more character, such as V100R002C01 and its newline. The generation is
// the first digit plus 2; the lowest byte is always 0.
bool ParseShortVersion(const std::string& s, unsigned long& version) {
    if (s.size() != 12 || s[0] != 'V' || s.find('R') != 4 || s.find('C', 8) != 8) return false;
    unsigned long v = Hex(s, 1, 1) + 2;
    v = v * 256 + Hex(s, 5, 3);
    v = (v * 256 + Hex(s, 9, 2)) * 256;
    version = v;
    return true;
}

std::string Slice(const std::string& text, std::size_t pos, std::size_t len) {
    return pos < text.size() ? text.substr(pos, len) : std::string();
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
    QXConvertDataStorage* store = QXConvertDataStorage::Instance();
    if (head.find("// encoding=\"UTF-8\"") != std::string::npos) {
        m_encoding = "UTF-8";
    } else if (head.find("// encoding=\"ISO8859-1\"") != std::string::npos) {
        m_encoding = "ISO8859-1";
    } else if (head.find("// encoding=\"GBK\"") != std::string::npos) {
        m_encoding = "GBK";
    } else if (store->ScriptONELanIsEn()) {
        m_encoding = "ISO8859-1";
    } else if (head.find("Idle Optical NE") != std::string::npos) {
        // From now on every script without an encoding line is single-language English.
        store->SetScriptONELanEn(true);
        m_encoding = "ISO8859-1";
    } else {
        m_encoding = "GBK";
    }
    hasSlotFlag = head.find("// SlotFlagVer=") != std::string::npos;
    isSlotFlag11 = head.find("// SlotFlagVer=1.1") != std::string::npos;
}

void TScriptFileImpl::ReadScriptVersion(const std::string& head) {
    std::size_t at;
    if ((at = head.find("// Q5100 NM version = Q5100")) != std::string::npos) {
        if (!ParseLongVersion(Slice(head, at + 27, 15), m_scriptVersion)) {
            m_scriptVersion = kDefaultScriptVersion;
        }
    } else if ((at = head.find("// EMS version = Q5100")) != std::string::npos) {
        // The offset of 27 skips the five characters after the product name on purpose.
        if (!ParseLongVersion(Slice(head, at + 27, 15), m_scriptVersion)) {
            m_scriptVersion = kDefaultScriptVersion;
        }
    } else if ((at = head.find("// EMS version = Q5300")) != std::string::npos) {
        if (!ParseShortVersion(Slice(head, at + 22, 12), m_scriptVersion)) {
            m_scriptVersion = 0x03010101;
        }
    }
}

}  // namespace NSQX_script
