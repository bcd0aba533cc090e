#pragma once

#include <cstddef>
#include <cstdint>
#include <new>
#include <vector>

#include "parser/TokenValue.h"
#include "qx_scriptutil/ScriptParser.h"
#include "qx_scriptutil/TScriptCmd.h"

namespace NSQX_script {
namespace parser {

// Lowers the value budget of the parses that begin after the call (kValueBudget by default),
// for fuzz targets, which would otherwise spend their time building millions of range values.
void SetValueBudget(std::size_t values);

// The semantic actions of the command grammar and the working state they share: the command
// being filled, the current parameter vector, the stack of enclosing vectors and the pending
// names and values. One per thread, in its ParseContext.
//
// The parameters already in the command are overwritten in place rather than destroyed first,
// so that their vectors and strings keep their storage from one command to the next. Each open
// vector therefore carries a count of the elements built so far; Finish() erases everything
// beyond those counts, so the result equals destroying the old parameters and building anew,
// after an error too.
class ParseBuilder {
  public:
    // Values (and names made by ranges) one command may hold in all; more fails the parse, so
    // that a few bytes of ranges or name lists cannot exhaust memory (a bound of about 200 MB of
    // values). A range of four million integers still parses.
    static constexpr std::size_t kValueBudget = std::size_t{1} << 22;
    static constexpr char kTooManyValues[] = "command expands to more than 4194304 values";
    // Parameters trimmed from a command are kept, up to this many, to be reused by later ones;
    // not those whose value lists are larger than kSpareValues.
    static constexpr std::size_t kSpareLimit = 4096;
    static constexpr std::size_t kSpareValues = 1024;
    // Values whose texts live on the heap are kept too when trimmed, up to this many and this
    // size, and handed to later texts that would outgrow the storage of their own value.
    static constexpr std::size_t kSpareTextLimit = 4096;
    static constexpr std::size_t kSpareTextBytes = 256;
    // Groups trimmed from a command leave their parameter vectors, up to this many and this
    // capacity, to later groups, which would otherwise grow theirs from nothing again; the
    // parameters in them are stale and overwritten like those of a reused command.
    static constexpr std::size_t kSpareGroupLimit = 1024;
    static constexpr std::size_t kSpareGroupParameters = 256;
    // Ranges of up to this many values are written over old values a batch at a time.
    static constexpr std::size_t kRangeBatch = 8;

    void Begin(MMLCmdStruct& cmd);
    // Makes the parse record narrowed integers and backward ranges in notes, with offsets
    // counted from base (the first byte of the text being parsed); null notes records none.
    void CollectNotes(std::vector<TParseNote>* notes, const char* base) noexcept {
        notes_ = notes;
        base_ = base;
    }
    // The text moved (the generated scanner parses a copy of it).
    void SetNoteBase(const char* base) noexcept { base_ = base; }
    // Records a note when the number text s (whose value read is value) does not fit 32 bits.
    // Called only for texts long enough not to fit.
    void CheckNarrowed(const char* s, std::size_t n, std::int64_t value) {
        if (notes_ != nullptr) NoteNarrowed(s, n, value);
    }
    // Erases what lies beyond the built counts of every vector still open; never throws.
    void Finish() noexcept;

    // Each action returns false when the parse must stop; Failure() then names the reason.
    bool CommandName(const TokenValue& v);
    // Called once per token: kept inline in the grammar's loop.
    bool PushName(const TokenValue& v, bool isNumber) {
        return Push(names_, isNumber ? kInteger : kText, v);
    }
    bool PushValue(const TokenValue& v, int kind) { return Push(values_, kind, v); }
    bool NameRange(const TokenValue& from, const TokenValue& to) {
        return Range(names_, from.num, to.num, from.str, to.str + to.len);
    }
    bool ValueRange(const TokenValue& from, const TokenValue& to) {
        return Range(values_, from.num, to.num, from.str, to.str + to.len);
    }
    bool OpenGroup();
    void CloseGroup() noexcept;
    bool NextGroup();
    bool EndParameter();
    void EndObjectParameter() noexcept;
    void ClearPending() noexcept {
        names_.clear();
        values_.clear();
        rangeSpent_ = 0;
    }
    const char* Failure() const { return failure_; }
    // Where in the text the failure lies, when the action knew; null otherwise.
    const char* FailurePlace() const { return failAt_; }

    // The hand-written parser builds the values of a plain parameter directly instead of
    // through the pending list: BeginValues once the names are complete, then the values, then
    // EndValues, with the same result and the same value budget as PushValue, ValueRange and
    // EndParameter. These may throw std::bad_alloc.
    void BeginValues();
    bool FreshList() const { return direct_->capacity() == 0; }
    void ReserveValues(std::size_t n) {
        direct_->reserve(n);
        Aim(0);
    }
    void ValueText(const char* s, std::size_t n) {
        QXValue& dst = NextValue();
        if (n > dst.TextCapacity() && !spareTexts_.empty()) TakeSpareText(dst);
        dst.SetString(s, n);
    }
    void ValueInlineText(const char (&block)[QXValue::kInlineText + 1], std::size_t n) {
        NextValue().SetInlineString(block, n);
    }
    void ValueInteger(std::int64_t v) { NextValue().SetInt64(static_cast<long>(v)); }
    void ValueReal(double v) { NextValue().SetDouble(v); }
    // A range whose text runs from s to e.
    bool ValueRangeDirect(std::int64_t from, std::int64_t to, const char* s, const char* e);
    bool EndValues();

    enum Kind { kText, kInteger, kReal };

  private:
    // A pending name or value: text stays in the scanner's buffer until it is built.
    struct Pending {
        std::uint8_t type;  // a QXValue::Type
        std::int64_t num;
        double real;
        const char* str;
        std::size_t len;
    };
    // A parameter vector being filled, with the count of elements built so far.
    struct Frame {
        std::vector<MMLParaStruct>* vec;
        std::size_t used;
        std::size_t group;  // index of this vector in its parameter's objects
    };

    bool Push(std::vector<Pending>& list, int kind, const TokenValue& v) {
        try {
            if (kind == kInteger)
                list.push_back(Pending{QXValue::kInt64, v.num, 0.0, nullptr, 0});
            else if (kind == kReal)
                list.push_back(Pending{QXValue::kDouble, 0, v.real, nullptr, 0});
            else
                list.push_back(Pending{QXValue::kString, 0, 0.0, v.str, v.len});
            return true;
        } catch (const std::bad_alloc&) {
            return OutOfMemory();
        }
    }
    bool Range(std::vector<Pending>& list, std::int64_t from, std::int64_t to, const char* s,
               const char* e);
    // The values a range from..to takes in all: the counter is a 32-bit integer that starts at
    // the first bound narrowed to 32 bits and is compared with the second bound as a 64-bit
    // number; where it would wrap past its maximum the range ends instead of running on. Zero
    // for a backward range, which is noted; false when the budget does not allow it.
    bool RangeSize(std::int64_t from, std::int64_t to, const char* s, const char* e,
                   std::size_t& count);
    void NoteNarrowed(const char* s, std::size_t n, std::int64_t value);
    void NoteBackward(const char* s, const char* e);
    // The next value of the list being built directly: an old one overwritten in place while
    // there are any, so that texts keep their storage.
    QXValue& NextValue() {
        if (next_ == end_) {
            std::vector<QXValue>& values = *direct_;
            values.emplace_back();
            end_ = values.data() + values.size();
            next_ = end_ - 1;
        }
        return *next_++;
    }
    // Points next_ and end_ into the list after it has changed size or place.
    void Aim(std::size_t used) {
        next_ = direct_->data() + used;
        end_ = direct_->data() + direct_->size();
    }
    std::size_t DirectUsed() const { return static_cast<std::size_t>(next_ - direct_->data()); }
    void TakeSpareText(QXValue& dst) noexcept;
    // Trims values to n, keeping those of their texts that are worth it in spareTexts_.
    void TrimValues(std::vector<QXValue>& values, std::size_t n) noexcept;
    bool Spend(std::size_t n, const char* where = nullptr);
    // Spends for a parameter's values once they are stored, count in all, less what its value
    // ranges spent when they were read.
    bool SpendStored(std::size_t count);
    MMLParaStruct& AppendParameter();
    bool EnterGroup(MMLParaStruct& owner, std::size_t index);
    static void Build(QXValue& dst, const Pending& src);
    void TrimParameters(std::vector<MMLParaStruct>& list, std::size_t n) noexcept;
    void TrimGroups(std::vector<std::vector<MMLParaStruct>>& groups, std::size_t n) noexcept;
    bool Fail(const char* why) {
        failure_ = why;
        return false;
    }
    bool OutOfMemory() {
        poisoned_ = true;
        return Fail("memory exhausted");
    }

    MMLCmdStruct* cmd_ = nullptr;
    Frame cur_{nullptr, 0, 0};
    std::vector<Frame> stack_;
    // Groups built so far in the last parameter of the current vector, while that object
    // parameter may still receive a next group.
    bool objectOpen_ = false;
    std::size_t objectGroups_ = 0;
    std::vector<MMLParaStruct> spare_;
    std::vector<QXValue> spareTexts_;
    std::vector<std::vector<MMLParaStruct>> spareGroups_;
    std::vector<Pending> names_;
    std::vector<Pending> values_;
    std::size_t spent_ = 0;
    std::size_t budget_ = kValueBudget;
    std::size_t rangeSpent_ = 0;  // by the value ranges of the parameter being read
    // The value list being built directly, the count built so far and the index of its
    // parameter in the current vector. Without names the values go to scratch_ and are lost.
    std::vector<QXValue>* direct_ = nullptr;
    QXValue* next_ = nullptr;  // the next value to fill
    QXValue* end_ = nullptr;   // the end of the list's values
    std::size_t directOwner_ = 0;
    std::vector<QXValue> scratch_;
    const char* failure_ = "";
    const char* failAt_ = nullptr;
    std::vector<TParseNote>* notes_ = nullptr;
    const char* base_ = nullptr;
    // An allocation failed halfway through an action, leaving a parameter half rebuilt.
    bool poisoned_ = false;
};

}  // namespace parser
}  // namespace NSQX_script
