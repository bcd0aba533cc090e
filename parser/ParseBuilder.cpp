#include "parser/ParseBuilder.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <limits>
#include <new>
#include <string>
#include <utility>

namespace NSQX_script {
namespace parser {

namespace {

// Erasing at the end moves nothing, so it cannot throw.
template <class T>
void Trim(std::vector<T>& v, std::size_t n) noexcept {
    if (v.size() > n) v.erase(v.begin() + static_cast<std::ptrdiff_t>(n), v.end());
}

std::atomic<std::size_t> valueBudget{ParseBuilder::kValueBudget};

bool IsWordByte(char c) {
    return (c >= '0' && c <= '9') || ((c | 0x20) >= 'a' && (c | 0x20) <= 'z') || c == '_' ||
           c == '-';
}

}  // namespace

void SetValueBudget(std::size_t values) {
    valueBudget.store(values, std::memory_order_relaxed);
}

void ParseBuilder::Begin(MMLCmdStruct& cmd) {
    // Trims then never throw.
    if (spare_.capacity() < kSpareLimit) spare_.reserve(kSpareLimit);
    if (spareTexts_.capacity() < kSpareTextLimit) spareTexts_.reserve(kSpareTextLimit);
    if (spareGroups_.capacity() < kSpareGroupLimit) spareGroups_.reserve(kSpareGroupLimit);
    cmd_ = &cmd;
    cmd.cmdName.clear();
    cur_ = Frame{&cmd.paraList, 0, 0};
    stack_.clear();
    objectOpen_ = false;
    ClearPending();
    spent_ = 0;
    budget_ = valueBudget.load(std::memory_order_relaxed);
    direct_ = nullptr;
    next_ = end_ = nullptr;
    failure_ = "";
    failAt_ = nullptr;
    poisoned_ = false;
}

void ParseBuilder::Finish() noexcept {
    if (cmd_ == nullptr) return;
    EndObjectParameter();
    TrimParameters(*cur_.vec, cur_.used);
    while (!stack_.empty()) {
        const std::size_t groups = cur_.group + 1;
        cur_ = stack_.back();
        stack_.pop_back();
        TrimGroups((*cur_.vec)[cur_.used - 1].objects, groups);
        TrimParameters(*cur_.vec, cur_.used);
    }
    // Which parameter was left half rebuilt is not known; drop them all rather than hand out
    // stale values.
    if (poisoned_) cmd_->paraList.clear();
    cmd_ = nullptr;
    cur_ = Frame{nullptr, 0, 0};
    ClearPending();
}

bool ParseBuilder::CommandName(const TokenValue& v) try {
    cmd_->cmdName.assign(v.str, v.len);
    ClearPending();
    stack_.clear();  // always empty here: the name precedes every brace
    return true;
} catch (const std::bad_alloc&) {
    return OutOfMemory();
}

bool ParseBuilder::Spend(std::size_t n, const char* where) {
    if (n > budget_ - spent_) {
        failAt_ = where;
        return Fail(kTooManyValues);
    }
    spent_ += n;
    return true;
}

bool ParseBuilder::RangeSize(std::int64_t from, std::int64_t to, const char* s, const char* e,
                             std::size_t& count) {
    const std::int64_t first = static_cast<std::int32_t>(from);
    const std::int64_t last = std::min<std::int64_t>(to, std::numeric_limits<std::int32_t>::max());
    count = 0;
    if (first > last) {
        if (notes_ != nullptr) NoteBackward(s, e);
        return true;
    }
    count = static_cast<std::size_t>(last - first + 1);
    return Spend(count, s);
}

bool ParseBuilder::SpendStored(std::size_t count) {
    const std::size_t spent = rangeSpent_;
    rangeSpent_ = 0;
    return Spend(count > spent ? count - spent : 0);
}

bool ParseBuilder::Range(std::vector<Pending>& list, std::int64_t from, std::int64_t to,
                         const char* s, const char* e) try {
    std::size_t count = 0;
    if (!RangeSize(from, to, s, e, count)) return false;
    if (&list == &values_) rangeSpent_ += count;
    const std::int64_t first = static_cast<std::int32_t>(from);
    list.reserve(list.size() + count);
    for (std::int64_t i = first; i < first + static_cast<std::int64_t>(count); ++i)
        list.push_back(Pending{QXValue::kInt32, i, 0.0, nullptr, 0});
    return true;
} catch (const std::bad_alloc&) {
    return OutOfMemory();
}

void ParseBuilder::NoteNarrowed(const char* s, std::size_t n, std::int64_t value) {
    // The value read equals the text's own value exactly when the text fits.
    const bool hex = n > 2 && s[0] == '0' && s[1] == 'x';
    const char* digits = s + (hex ? 2 : s[0] == '-' ? 1 : 0);
    const char* const end = s + n;
    while (digits + 1 < end && *digits == '0') ++digits;
    std::uint64_t magnitude = 0;
    const bool wide = end - digits > (hex ? 8 : 10);
    for (const char* p = digits; !wide && p != end; ++p)
        magnitude = magnitude * (hex ? 16 : 10) +
                    static_cast<unsigned>(*p <= '9' ? *p - '0' : (*p | 0x20) - 'a' + 10);
    const bool negative = !hex && s[0] == '-';
    const bool fits =
        !wide && (negative ? magnitude == static_cast<std::uint64_t>(-value)
                           : magnitude == static_cast<std::uint64_t>(value) && value >= 0);
    const std::size_t offset = static_cast<std::size_t>(s - base_);
    // The hand-written parser may read a number twice when it steps back to its token loop.
    if (fits || (!notes_->empty() && notes_->back().offset == offset)) return;
    const std::string text(s, n);
    notes_->push_back(
        TParseNote{TParseNote::kNarrowedInteger, offset, n,
                   text + " does not fit 32 bits and reads as " + std::to_string(value)});
}

void ParseBuilder::NoteBackward(const char* s, const char* e) {
    // The bounds as written, without blanks between them. A number token is a whole run of
    // identifier bytes, or it would have scanned as an identifier.
    const char* first = s;
    while (first != e && IsWordByte(*first)) ++first;
    const char* second = e;
    while (second != first && IsWordByte(second[-1])) --second;
    notes_->push_back(TParseNote{TParseNote::kBackwardRange, static_cast<std::size_t>(s - base_),
                                 static_cast<std::size_t>(e - s),
                                 std::string(s, first) + "&&" + std::string(second, e) +
                                     " is a backward range and reads as no values"});
}

void ParseBuilder::TrimParameters(std::vector<MMLParaStruct>& list, std::size_t n) noexcept {
    while (list.size() > n) {
        // Keep the element's storage for a later command, unless it holds a great deal.
        if (spare_.size() < kSpareLimit && list.back().values.capacity() <= kSpareValues)
            spare_.push_back(std::move(list.back()));
        list.pop_back();
    }
}

void ParseBuilder::TrimValues(std::vector<QXValue>& values, std::size_t n) noexcept {
    if (values.size() <= n) return;  // the generated parser's lists are trimmed before they grow
    QXValue* const end = values.data() + values.size();
    // Most values hold no buffer: one test each, the rest only for those that do.
    for (QXValue* v = values.data() + n; v != end; ++v) {
        if (v->HasTextBuffer() && v->TextCapacity() <= kSpareTextBytes &&
            spareTexts_.size() < kSpareTextLimit)
            spareTexts_.push_back(std::move(*v));
    }
    Trim(values, n);
}

void ParseBuilder::TakeSpareText(QXValue& dst) noexcept {
    // The value's own storage, too small here, goes back to the spares unless it is inline.
    QXValue& spare = spareTexts_.back();
    dst.ExchangeBuffers(spare);
    if (!spare.HasTextBuffer()) spareTexts_.pop_back();
}

void ParseBuilder::TrimGroups(std::vector<std::vector<MMLParaStruct>>& groups,
                              std::size_t n) noexcept {
    for (std::size_t i = n; i < groups.size(); ++i) {
        std::vector<MMLParaStruct>& group = groups[i];
        if (spareGroups_.size() == kSpareGroupLimit || group.capacity() == 0 ||
            group.capacity() > kSpareGroupParameters) {
            TrimParameters(group, 0);
            continue;
        }
        // A group whose parameters all qualify as spares is kept whole: a later group then
        // overwrites them in place instead of moving each one out and back.
        const bool whole = std::all_of(group.begin(), group.end(), [](const MMLParaStruct& para) {
            return para.values.capacity() <= kSpareValues;
        });
        if (!whole) TrimParameters(group, 0);
        spareGroups_.push_back(std::move(group));
    }
    Trim(groups, n);
}

inline void ParseBuilder::Build(QXValue& dst, const Pending& src) {
    switch (src.type) {
        case QXValue::kString:
            dst.SetString(src.str, src.len);
            return;
        case QXValue::kInt32:
            dst.SetInt32(static_cast<int>(src.num));
            return;
        case QXValue::kInt64:
            dst.SetInt64(static_cast<long>(src.num));
            return;
        default:
            dst.SetDouble(src.real);
            return;
    }
}

MMLParaStruct& ParseBuilder::AppendParameter() {
    EndObjectParameter();
    std::vector<MMLParaStruct>& vec = *cur_.vec;
    if (cur_.used == vec.size()) {
        if (spare_.empty()) {
            vec.emplace_back();
        } else {
            // Its stale content is overwritten just like that of an element reused in place.
            vec.push_back(std::move(spare_.back()));
            spare_.pop_back();
        }
    }
    return vec[cur_.used++];
}

bool ParseBuilder::EndParameter() try {
    const std::size_t count = values_.size();
    if (!SpendStored(names_.size() * std::max<std::size_t>(count, 1))) return false;
    for (const Pending& name : names_) {
        MMLParaStruct& para = AppendParameter();
        Build(para.name, name);
        std::vector<QXValue>& values = para.values;
        TrimValues(values, count);
        std::size_t i = 0;
        for (; i < values.size(); ++i) Build(values[i], values_[i]);
        if (i < count) values.reserve(count);
        for (; i < count; ++i) {
            values.emplace_back();
            Build(values.back(), values_[i]);
        }
        if (!para.objects.empty()) TrimGroups(para.objects, 0);
    }
    ClearPending();
    return true;
} catch (const std::bad_alloc&) {
    return OutOfMemory();
}

void ParseBuilder::BeginValues() {
    if (names_.empty()) {
        direct_ = &scratch_;
    } else {
        MMLParaStruct& para = AppendParameter();
        directOwner_ = cur_.used - 1;
        Build(para.name, names_.front());
        if (!para.objects.empty()) TrimGroups(para.objects, 0);
        direct_ = &para.values;
    }
    // The old values are overwritten in place and the list grows as it must: a count taken
    // beforehand, to size or swap the list, cost more than the values it saved rebuilding.
    Aim(0);
}

bool ParseBuilder::ValueRangeDirect(std::int64_t from, std::int64_t to, const char* s,
                                    const char* e) {
    std::size_t count = 0;
    if (!RangeSize(from, to, s, e, count)) return false;
    if (count == 0) return true;
    rangeSpent_ += count;
    const std::int64_t first = static_cast<std::int32_t>(from);
    const std::int64_t last = first + static_cast<std::int64_t>(count) - 1;
    if (count <= kRangeBatch && end_ - next_ >= static_cast<std::ptrdiff_t>(kRangeBatch)) {
        // A short range overwrites a whole batch of old values, with no branch on its length:
        // those past it stay stale, to be overwritten or trimmed like any other old value.
        for (std::size_t k = 0; k < kRangeBatch; ++k)
            next_[k].SetInt32(static_cast<int>(static_cast<std::uint32_t>(first) + k));
        next_ += count;
        return true;
    }
    std::int64_t i = first;
    for (; i <= last && next_ != end_; ++i, ++next_) next_->SetInt32(static_cast<int>(i));
    if (i > last) return true;
    // The rest is built in place as integers rather than made empty and then set.
    std::vector<QXValue>& values = *direct_;
    const std::size_t end = values.size() + static_cast<std::size_t>(last - i + 1);
    if (values.capacity() < end) values.reserve(std::max(end, 2 * values.capacity()));
    for (; i <= last; ++i) values.emplace_back(static_cast<int>(i));
    Aim(values.size());
    return true;
}

bool ParseBuilder::EndValues() {
    const std::size_t count = DirectUsed();
    TrimValues(*direct_, count);
    direct_ = nullptr;
    next_ = end_ = nullptr;
    if (!SpendStored(names_.size() * std::max<std::size_t>(count, 1))) return false;
    // Further names get copies of the first one's values.
    for (std::size_t n = 1; n < names_.size(); ++n) {
        MMLParaStruct& para = AppendParameter();
        Build(para.name, names_[n]);
        para.values = (*cur_.vec)[directOwner_].values;
        if (!para.objects.empty()) TrimGroups(para.objects, 0);
    }
    ClearPending();
    return true;
}

bool ParseBuilder::EnterGroup(MMLParaStruct& owner, std::size_t index) {
    stack_.push_back(cur_);
    try {
        if (index == owner.objects.size()) {
            owner.objects.emplace_back();
            if (!spareGroups_.empty()) {
                owner.objects.back().swap(spareGroups_.back());
                spareGroups_.pop_back();
            }
        }
    } catch (...) {
        stack_.pop_back();
        throw;
    }
    cur_ = Frame{&owner.objects[index], 0, index};
    ClearPending();
    return true;
}

bool ParseBuilder::OpenGroup() try {
    if (names_.empty()) return true;
    // An object parameter takes only its first name.
    MMLParaStruct& para = AppendParameter();
    Build(para.name, names_.front());
    TrimValues(para.values, 0);
    return EnterGroup(para, 0);
} catch (const std::bad_alloc&) {
    return OutOfMemory();
}

void ParseBuilder::CloseGroup() noexcept {
    if (stack_.empty()) return;
    TrimParameters(*cur_.vec, cur_.used);
    objectGroups_ = cur_.group + 1;
    cur_ = stack_.back();
    stack_.pop_back();
    objectOpen_ = true;
}

bool ParseBuilder::NextGroup() try {
    if (cur_.used == 0) return true;
    MMLParaStruct& owner = (*cur_.vec)[cur_.used - 1];
    const std::size_t index = objectOpen_ ? objectGroups_ : owner.objects.size();
    objectOpen_ = false;
    return EnterGroup(owner, index);
} catch (const std::bad_alloc&) {
    return OutOfMemory();
}

void ParseBuilder::EndObjectParameter() noexcept {
    if (!objectOpen_) return;
    objectOpen_ = false;
    TrimGroups((*cur_.vec)[cur_.used - 1].objects, objectGroups_);
}

}  // namespace parser
}  // namespace NSQX_script
