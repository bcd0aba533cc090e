#include "slot/CommandSlotConvert.h"

#include <cstdint>

#include "cmd/CommandLayout.h"
#include "qx_platform/Strings.h"
#include "qx_platform/Trace.h"
#include "qx_scriptutil/CmdNameConvert.h"
#include "qx_scriptutil/EnumMap.h"
#include "qx_scriptutil/ScriptSlotConvert.h"
#include "slot/SlotStoreAccess.h"

namespace NSQX_script {

namespace {

// Shelf as hundreds (shelf * 100 + slot) to shelf << 16 | slot.
unsigned long EncodeShelf(unsigned long v) {
    return (v % 100) | ((v / 100) << 16);
}

unsigned long ShelfOf(unsigned long v) {
    return static_cast<std::uint32_t>(v) >> 16;
}

unsigned long SlotOf(unsigned long v) {
    return v & 0xFFFFul;
}

bool SwitchOn(const std::string& name, const std::string& item) {
    long value = 0;
    ValueS2C(value, name, 0, item, 0);
    return value != 0;
}

std::int32_t StoreType() {
    return QXConvertDataStorage::Instance()->GetCvtType();
}

// Steps shared by both conversions: out starts as in; true in skip when the NE is outside
// the device map; false when the input is not a number.
bool ReadSlot(unsigned long neId, const CStdString& in, CStdString& out, bool& skip,
              unsigned long& value) {
    out = in;
    skip = neId != 0 && !QXConvertDataStorage::Instance()->IsNEINDEVMap(neId);
    if (skip) return true;
    if (!qxp::QXStr2UInt(in.c_str(), value)) {
        qxp::QXTrace(qxp::kTraceError,
                     "QXConvertDataStorage convert input para Err, input string: %s ", in.c_str());
        return false;
    }
    return true;
}

struct Piece {
    std::string lead;
    std::string inner;
    std::string trail;
    std::string sep;
};

void Cut(const std::string& value, const std::string& sign, std::vector<Piece>& pieces) {
    pieces.clear();
    std::size_t start = 0;
    for (;;) {
        const std::size_t at = sign.empty() ? std::string::npos : value.find(sign, start);
        Piece piece;
        piece.inner.assign(value, start, at == std::string::npos ? std::string::npos : at - start);
        if (at != std::string::npos) piece.sep = sign;
        if (!piece.inner.empty() && piece.inner.front() == '"') {
            piece.lead = "\"";
            piece.inner.erase(0, 1);
        }
        const std::size_t quote = piece.inner.find('"');
        if (quote != std::string::npos && quote + 1 == piece.inner.size()) {
            piece.trail = "\"";
            piece.inner.pop_back();
        }
        pieces.push_back(std::move(piece));
        if (at == std::string::npos) break;
        start = at + sign.size();
    }
}

std::string Join(const std::vector<Piece>& pieces) {
    std::string value;
    for (const Piece& piece : pieces) {
        value += piece.lead;
        value += piece.inner;
        value += piece.trail;
        value += piece.sep;
    }
    return value;
}

// One walk over a value; collected is null in convert mode.
void Walk(const SeparatorNode* node, std::string& value, unsigned long neId, std::int32_t type,
          std::vector<std::string>* collected) {
    static const SeparatorNode kWhole;
    if (node == nullptr) node = &kWhole;
    std::vector<Piece> pieces;
    Cut(value, node->m_sign, pieces);
    std::vector<std::string> found;

    auto target = [&](Piece& piece) {
        if (collected != nullptr) {
            found.push_back(piece.inner);
            return;
        }
        CStdString out;
        ConvertSlotValue(neId, CStdString(piece.inner), out, type);
        piece.inner = std::move(out);
    };
    auto deeper = [&](const SeparatorNode::Position& pos) {
        // Positions count from 1; 0 or less names no piece, nor does one past the end.
        if (pos.first < 1 || static_cast<std::size_t>(pos.first) > pieces.size()) return;
        Walk(pos.second.get(), pieces[pos.first - 1].inner, neId, type,
             collected ? &found : nullptr);
    };

    const auto& positions = node->m_positions;
    if (positions.empty() || (positions.size() == 1 && positions.front().first == 0)) {
        for (Piece& piece : pieces) target(piece);
    } else {
        for (const SeparatorNode::Position& pos : positions) deeper(pos);
    }

    if (collected != nullptr) {
        if (found.size() == 2) {
            collected->push_back(found[0] + "-" + found[1]);
        } else {
            for (std::string& text : found) collected->push_back(std::move(text));
        }
        return;
    }
    value = Join(pieces);
}

// The first parameter of that name, as the typed access by name finds it.
MMLParaStruct* FindPara(TScriptCmdRef& cmd, const std::string& name) {
    std::vector<MMLParaStruct>* paras = cmd.GetParaListPtr();
    if (paras == nullptr) return nullptr;
    for (MMLParaStruct& para : *paras) {
        const bool match = para.name.IsStringTypeEx() ? para.name.StringRef() == name
                                                      : para.name.As_std_string() == name;
        if (match) return &para;
    }
    return nullptr;
}

unsigned long CollectNeId(TScriptCmdRef& cmd, const NeSlotLocator& locator) {
    const MMLParaStruct* para = FindPara(cmd, locator.m_neIdParaName);
    if (para == nullptr) return 0;
    std::vector<std::string> collected;
    for (const QXValue& value : para->values) {
        SeparatorWalk::Collect(locator.m_neIdSeparator, value.As_std_string(), collected);
    }
    unsigned long neId = 0;
    if (!collected.empty() && !qxp::QXStr2NEID(collected.front().c_str(), neId)) neId = 0;
    return neId;
}

void ConvertSlots(TScriptCmdRef& cmd, const NeSlotLocator& locator, unsigned long neId,
                  std::int32_t type) {
    MMLParaStruct* para = FindPara(cmd, locator.m_slotParaName);
    if (para == nullptr) return;
    std::string text;
    for (QXValue& value : para->values) {
        text = value.As_std_string();
        SeparatorWalk::Convert(locator.m_slotSeparator, text, neId, type);
        // Values that stay as they were keep their type and their escaping untouched.
        if (text != value.As_std_string()) value = QXValue(std::move(text), false);
    }
}

}  // namespace

bool QXScriptSlotConvert(unsigned long neId, const CStdString& in, CStdString& out) {
    bool skip = false;
    unsigned long v = 0;
    if (!ReadSlot(neId, in, out, skip, v)) return false;
    if (skip) return true;
    switch (StoreType()) {
        case 0:
            if (v >= 80 && v <= 87) {
                v += 40;
            } else if (v >= 100 && v <= 998) {
                v = EncodeShelf(v);
            }
            break;
        case 1:
            if (v >= 10000 && v <= 10999) {
                v -= 10000;
            } else if (v >= 100 && v <= 998) {
                v = EncodeShelf(v);
            }
            break;
        case 2:
            if (v <= 65535) return true;
            v = SlotOf(v) < 100 ? ShelfOf(v) * 100 + SlotOf(v) : SlotOf(v) + 10000;
            break;
        default:
            return true;
    }
    out = qxp::QXUInt2Str(v);
    static const std::string kLogName("logconvertresult");
    static const std::string kLogItem("logresult");
    if (SwitchOn(kLogName, kLogItem)) {
        qxp::QXTrace(qxp::kTraceInfo, "Slot have been changed from %s to %s of ne %d", in.c_str(),
                     out.c_str(), static_cast<int>(neId));
    }
    return true;
}

bool ConvertSlotValue(unsigned long neId, const CStdString& in, CStdString& out) {
    return ConvertSlotValue(neId, in, out, StoreType());
}

std::int32_t SlotTypeForFlag(bool slotFlagIs11, bool slotFlagPresent, int operType) {
    if (!slotFlagPresent) return 0;
    if (slotFlagIs11) return static_cast<unsigned int>(operType) <= 1 ? 3 : 0;
    if (operType == 0) return 1;
    if (operType == 1) return 2;
    return 0;
}

bool ConvertSlotValue(unsigned long neId, const CStdString& in, CStdString& out,
                      std::int32_t type) {
    bool skip = false;
    unsigned long v = 0;
    if (!ReadSlot(neId, in, out, skip, v)) return false;
    if (skip) return true;
    switch (type) {
        case 0:
            v = (v >= 80 && v <= 87) ? v + 40 : (v > 99 ? EncodeShelf(v) : v);
            break;
        case 1:
            v = (v >= 10000 && v <= 10999) ? v - 10000 : (v > 99 ? EncodeShelf(v) : v);
            break;
        case 2:
            v = (ShelfOf(v) == 0 && SlotOf(v) > 99) ? SlotOf(v) + 10000
                                                    : SlotOf(v) + ShelfOf(v) * 100;
            break;
        default:
            return true;
    }
    out = qxp::QXUInt2Str(v);
    return true;
}

void SeparatorWalk::Convert(const SeparatorNode& node, std::string& value, unsigned long neId,
                            std::int32_t type) {
    Walk(&node, value, neId, type, nullptr);
}

void SeparatorWalk::Convert(const SeparatorNode& node, std::string& value, unsigned long neId) {
    Convert(node, value, neId, StoreType());
}

void SeparatorWalk::Collect(const SeparatorNode& node, const std::string& value,
                            std::vector<std::string>& collected) {
    std::string copy = value;
    Walk(&node, copy, 0, 0, &collected);
}

void ConvertCommandSlots(TScriptCmdRef& cmd) {
    ConvertCommandSlots(cmd, StoreType());
}

void ConvertCommandSlots(TScriptCmdRef& cmd, std::int32_t type) {
    static const std::string kSwitchName("slotcvtswitch");
    static const std::string kSwitchItem("cvtswitch");
    if (!SwitchOn(kSwitchName, kSwitchItem)) return;
    if (!SlotStoreAccess::HasCmdInfo()) return;
    std::string name;
    if (!CmdNameConvert::GetCorrespondCmdName(name, cmd.GetCmdCode())) return;
    QXScriptCfgCmdInfo info;
    if (!SlotStoreAccess::FindCmdInfo(name, info)) return;

    LogConvertedCmd(cmd);
    const bool onePara = name == "cfg-onepara";
    unsigned long lastNeId = 0;
    for (const NeSlotLocator& locator : info.m_locators) {
        unsigned long neId = CollectNeId(cmd, locator);
        if (onePara) {
            if (neId == 0) neId = lastNeId;
            lastNeId = neId;
        }
        ConvertSlots(cmd, locator, neId, type);
    }
    LogConvertedCmd(cmd);
}

}  // namespace NSQX_script
