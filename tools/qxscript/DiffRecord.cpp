#include "DiffRecord.h"

#include <cstring>

namespace qxscript {

using NSQX_script::MMLParaStruct;
using NSQX_script::QXValue;

namespace {

// Sizes and integers as 7-bit groups, low first; integers zigzag so that small negative ones
// stay short.
void PutSize(std::string& out, unsigned long n) {
    while (n >= 0x80) {
        out += static_cast<char>((n & 0x7F) | 0x80);
        n >>= 7;
    }
    out += static_cast<char>(n);
}

unsigned long GetSize(const char*& p) {
    unsigned long n = 0;
    for (int shift = 0;; shift += 7) {
        const auto c = static_cast<unsigned char>(*p++);
        n |= static_cast<unsigned long>(c & 0x7F) << shift;
        if ((c & 0x80) == 0) return n;
    }
}

void PutValue(std::string& out, const QXValue& v) {
    out += static_cast<char>(v.GetType());
    switch (v.GetType()) {
        case QXValue::kString:
            PutSize(out, v.StringRef().size());
            out += v.StringRef();
            break;
        case QXValue::kInt32:
        case QXValue::kInt64: {
            const long n = v.AsLong();
            PutSize(out,
                    (static_cast<unsigned long>(n) << 1) ^ static_cast<unsigned long>(n >> 63));
            break;
        }
        case QXValue::kDouble: {
            const double d = v.AsDouble();
            char bytes[sizeof d];
            std::memcpy(bytes, &d, sizeof d);
            out.append(bytes, sizeof d);
            break;
        }
        case QXValue::kEmpty:
            break;
    }
}

void GetValue(const char*& p, QXValue& v) {
    const auto type = static_cast<QXValue::Type>(*p++);
    switch (type) {
        case QXValue::kString: {
            const unsigned long n = GetSize(p);
            v.SetString(p, n);
            p += n;
            return;
        }
        case QXValue::kInt32:
        case QXValue::kInt64: {
            const unsigned long z = GetSize(p);
            const long n = static_cast<long>(z >> 1) ^ -static_cast<long>(z & 1);
            if (type == QXValue::kInt32) {
                v.SetInt32(static_cast<int>(n));
            } else {
                v.SetInt64(n);
            }
            return;
        }
        case QXValue::kDouble: {
            double d = 0;
            std::memcpy(&d, p, sizeof d);
            p += sizeof d;
            v.SetDouble(d);
            return;
        }
        case QXValue::kEmpty:
            v.Clear();
            return;
    }
}

void PackList(const std::vector<MMLParaStruct>& list, std::string& out) {
    PutSize(out, list.size());
    for (const MMLParaStruct& p : list) {
        PutValue(out, p.name);
        PutSize(out, p.values.size());
        for (const QXValue& v : p.values) PutValue(out, v);
        PutSize(out, p.objects.size());
        for (const auto& group : p.objects) PackList(group, out);
    }
}

void UnpackList(const char*& p, std::vector<MMLParaStruct>& list) {
    list.resize(GetSize(p));
    for (MMLParaStruct& para : list) {
        GetValue(p, para.name);
        para.values.resize(GetSize(p));
        for (QXValue& v : para.values) GetValue(p, v);
        para.objects.resize(GetSize(p));
        for (auto& group : para.objects) UnpackList(p, group);
    }
}

}  // namespace

std::string PackParameters(const std::vector<MMLParaStruct>& paras) {
    std::string out;
    PackList(paras, out);
    out.shrink_to_fit();
    return out;
}

std::vector<MMLParaStruct> UnpackParameters(const std::string& packed) {
    std::vector<MMLParaStruct> out;
    const char* p = packed.data();
    UnpackList(p, out);
    return out;
}

}  // namespace qxscript
