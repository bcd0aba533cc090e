#include "file/CommandLayout.h"

#include <algorithm>
#include <charconv>

#include "qx_platform/Trace.h"
#include "qx_scriptutil/CmdNameConvert.h"

namespace NSQX_script {

const LayoutStyle kScriptFileLayout = {"TScriptFileImpl::WriteParaList, ParaName is empty.\n",
                                       false, nullptr};
const LayoutStyle kConvertLogLayout = {"ParaName is empty when write command.\n", true,
                                       "ParaValue List is empty.\n"};

namespace {

constexpr std::size_t kWrapColumn = 80;
constexpr char kWrap[] = "\n  ";
constexpr std::size_t kWrapIndent = 2;

}  // namespace

CommandLayout::Kind CommandLayout::Render(const TScriptCmdRef& cmd) {
    const std::vector<MMLParaStruct>* paras = cmd.GetParaListPtr();
    if (paras == nullptr) {
        Clear();
        return Kind::kNothing;
    }
    return Render(cmd.GetCmdCode(), *paras);
}

CommandLayout::Kind CommandLayout::Render(unsigned long cmdCode,
                                          const std::vector<MMLParaStruct>& paras) {
    Clear();
    if (paras.empty()) return Kind::kNothing;
    if (!CmdNameConvert::GetCorrespondCmdName(name_, cmdCode)) {
        AppendRaw(paras);
        return Kind::kRaw;
    }
    AppendNamed(name_, paras);
    return Kind::kNamed;
}

void CommandLayout::AppendNamed(const std::string& name, const std::vector<MMLParaStruct>& paras) {
    Start();
    Put(':');
    Put(name);
    Put(":{");
    std::size_t column = name.size() + 3;
    ParaList(paras, column);
    Put("};\n\n");
    Finish();
}

void CommandLayout::AppendRaw(const std::vector<MMLParaStruct>& paras) {
    Start();
    for (const MMLParaStruct& para : paras) {
        if (!para.values.empty()) Put(ValueText(para.values.front()));
    }
    Put('\n');
    Finish();
}

void CommandLayout::AppendParaList(const std::vector<MMLParaStruct>& paras, std::size_t& column) {
    Start();
    ParaList(paras, column);
    Finish();
}

void CommandLayout::Grow(std::size_t more) {
    text_.resize(std::max(text_.size() * 2, len_ + more + 256));
}

void CommandLayout::ParaList(const std::vector<MMLParaStruct>& paras, std::size_t& column) {
    bool first = true;
    for (const MMLParaStruct& para : paras) {
        std::string_view name = ValueText(para.name);
        if (name.empty()) {
            qxp::QXTrace(qxp::kTraceError, "%s", style_->emptyNameTrace);
            if (style_->skipEmptyName) continue;
        }
        if (!first) Put(", ");
        first = false;
        column += 2;
        if (column > kWrapColumn) {
            Put(kWrap);
            column = kWrapIndent;
        }
        Put(name);
        Put('=');
        column += name.size() + 1;

        if (!para.objects.empty()) {
            bool firstGroup = true;
            for (const std::vector<MMLParaStruct>& group : para.objects) {
                if (!firstGroup) Put('&');
                firstGroup = false;
                Put('{');
                ParaList(group, column);
                Put('}');
            }
            continue;
        }
        if (para.values.empty() && style_->emptyValuesTrace != nullptr) {
            qxp::QXTrace(qxp::kTraceError, "%s", style_->emptyValuesTrace);
        }
        const std::size_t count = para.values.size();
        for (std::size_t i = 0; i < count; ++i) {
            std::string_view value = ValueText(para.values[i]);
            column += value.size() + 1;
            if (i != 0) Put('&');
            Put(value);
            if (column > kWrapColumn && i + 1 < count) {
                Put(kWrap);
                column = kWrapIndent;
            }
        }
    }
}

std::string_view CommandLayout::ValueText(const QXValue& value) {
    switch (value.GetType()) {
        case QXValue::kString:
            return value.StringRef();
        case QXValue::kInt32:
        case QXValue::kInt64: {
            auto res = std::to_chars(digits_, digits_ + sizeof digits_, value.AsLong());
            return std::string_view(digits_, static_cast<std::size_t>(res.ptr - digits_));
        }
        case QXValue::kEmpty:
            return std::string_view();
        default:
            other_ = value.As_std_string();
            return other_;
    }
}

}  // namespace NSQX_script
