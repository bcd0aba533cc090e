#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "cmd/CommandLayout.h"
#include "qx_platform/Trace.h"
#include "qx_scriptutil/CmdNameConvert.h"
#include "tests/TreeText.h"

using namespace NSQX_script;

using tree_text::Para;

namespace {

class LayoutTest : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        CmdNameConvert::AddCmdNameIDMap("cmd", 7101);
        CmdNameConvert::AddCmdNameIDMap("x", 7102);
        CmdNameConvert::AddCmdNameIDMap(std::string(77, 'n').c_str(), 7103);
    }
    static void TearDownTestSuite() {
        for (unsigned long id : {7101ul, 7102ul, 7103ul}) CmdNameConvert::RemoveCmdNameIDMap(id);
    }

    std::string Render(unsigned long code, const std::vector<MMLParaStruct>& paras,
                       const LayoutStyle& style = kScriptFileLayout) {
        CommandLayout layout(style);
        layout.Render(code, paras);
        return layout.Text();
    }
};

const std::string kTen = "1234567890";

TEST_F(LayoutTest, WrapsPastColumn80ButNeverAfterTheLastValue) {
    // n values of ten digits in a parameter P, with a wrap after the given ones.
    auto list = [](int n, std::initializer_list<int> wrapAfter) {
        std::string text;
        for (int i = 0; i < n; ++i) {
            text += (i ? "&" : "") + kTen;
            for (int w : wrapAfter) text += w == i ? "\n  " : "";
        }
        return text;
    };
    auto p = [](int n) { return Para("P", std::vector<tree_text::Item>(n, kTen)); };
    // Column 6 after ":cmd:{", 10 after "P=", 11 per value: the 7th value reaches 87. Ending on
    // the 7th value there is no wrap there; the next separator wraps instead.
    EXPECT_EQ(":cmd:{P=" + list(9, {6}) + "};\n\n", Render(7101, {p(9)}));
    EXPECT_EQ(":cmd:{P=" + list(7, {}) + "};\n\n", Render(7101, {p(7)}));
    EXPECT_EQ(":cmd:{P=" + list(7, {}) + ", \n  Q=1};\n\n", Render(7101, {p(7), Para("Q", {"1"})}));
    // A list that wraps twice restarts its count at column 2: 87, then 2 + 8 * 11 = 90.
    EXPECT_EQ(":cmd:{P=" + list(20, {6, 14}) + "};\n\n", Render(7101, {p(20)}));

    // Each "pNN=1" adds 8: the separator before p10 reaches 88, later ones stay below 81.
    std::vector<MMLParaStruct> paras;
    std::string expect = ":cmd:{";
    for (int i = 0; i < 20; ++i) {
        std::string name = (i < 10 ? "p0" : "p") + std::to_string(i);
        paras.push_back(Para(name, {"1"}));
        if (i) expect += ", ";
        if (i == 10) expect += "\n  ";
        expect += name + "=1";
    }
    EXPECT_EQ(expect + "};\n\n", Render(7101, paras));

    // Object members share the column: 6 + 2 + 2 ("O=") + 2 + 2 ("A=") + 71 = 85; the member
    // separator then wraps inside braces.
    std::string seventy(70, 'v');
    EXPECT_EQ(":cmd:{O={A=" + seventy + ", \n  B=1}};\n\n",
              Render(7101, {Para("O", {}, {{Para("A", {seventy}), Para("B", {"1"})}})}));

    // A name long enough that the first parameter's own step passes 80.
    EXPECT_EQ(":" + std::string(77, 'n') + ":{\n  A=1};\n\n", Render(7103, {Para("A", {"1"})}));
}

TEST_F(LayoutTest, ShortCommandsRawLinesAndOddParameters) {
    std::vector<MMLParaStruct> paras = {
        Para("O", {}, {{Para("A", {"1"}), Para("B", {"2"})}, {Para("A", {"3"}), Para("B", {"4"})}}),
        Para("C", {"5", "\"q\""})};
    EXPECT_EQ(":x:{O={A=1, B=2}&{A=3, B=4}, C=5&\"q\"};\n\n", Render(7102, paras));

    // Numbers are written as their text; a number may also be a name.
    MMLParaStruct n = Para("", {5, 123456789012L, 1.5, -7});
    n.name = QXValue(3);
    EXPECT_EQ(":x:{3=5&123456789012&1.5&-7};\n\n", Render(7102, {n}));

    // Raw lines, empty commands, and one buffer reused from command to command.
    CommandLayout layout;
    EXPECT_EQ(
        CommandLayout::Kind::kRaw,
        layout.Render(999999, {Para("a", {"// note "}), Para("b", {}), Para("c", {"x", "y"})}));
    EXPECT_EQ("// note x\n", layout.Text());

    EXPECT_EQ(CommandLayout::Kind::kNothing, layout.Render(7101, {}));
    EXPECT_EQ("", layout.Text());

    TScriptCmdRef none;
    EXPECT_EQ(CommandLayout::Kind::kNothing, layout.Render(none));

    TScriptCmd cmd(7102);
    cmd.GetParaList().push_back(Para("A", {"1"}));
    EXPECT_EQ(CommandLayout::Kind::kNamed, layout.Render(cmd));
    EXPECT_EQ(":x:{A=1};\n\n", layout.Text());

    // Empty names and empty value lists, as each style treats them.
    const std::vector<MMLParaStruct> odd = {Para("", {"1"}), Para("B", {}), Para("C", {"2"})};
    {
        qxp::TraceCapture trace;
        EXPECT_EQ(":x:{=1, B=, C=2};\n\n", Render(7102, odd));
        EXPECT_TRUE(trace.Contains("TScriptFileImpl::WriteParaList, ParaName is empty.\n"));
        EXPECT_FALSE(trace.Contains("ParaValue List is empty."));
    }
    {
        qxp::TraceCapture trace;
        EXPECT_EQ(":x:{B=, C=2};\n\n", Render(7102, odd, kConvertLogLayout));
        EXPECT_TRUE(trace.Contains("ParaName is empty when write command.\n"));
        EXPECT_TRUE(trace.Contains("ParaValue List is empty.\n"));
    }
}

// Numbers are formatted straight into the buffer; each must read exactly as the value's own text.
TEST_F(LayoutTest, NumbersReadAsTheirValueText) {
    CommandLayout layout;
    auto check = [&layout](const QXValue& v) {
        layout.Render(7102, {Para("P", {v})});
        EXPECT_EQ(":x:{P=" + v.As_std_string() + "};\n\n", layout.Text());
    };
    for (long v : {0L, 1L, -1L, 9L, 10L, 99L, 100L, 9999L, 10000L, 99999999L, 100000000L,
                   -99999999L, -100000000L, 4294967295L, std::numeric_limits<long>::max(),
                   std::numeric_limits<long>::min()}) {
        check(QXValue(v));
    }
    for (int v :
         {0, 7, -7, 12345, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()})
        check(QXValue(v));
    for (double d :
         {0.0, -0.0, 1.5, 12.0, -0.25, 0.1, 1e300, -1e-300, std::numeric_limits<double>::max(),
          std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity(),
          std::numeric_limits<double>::quiet_NaN()}) {
        check(QXValue(d));
    }
    std::mt19937_64 rng(11);
    for (int i = 0; i < 2000 && !HasFailure(); ++i) {
        const long wide = static_cast<long>(rng());
        check(QXValue(wide >> (rng() % 64)));  // every digit count, both signs
        const std::uint64_t bits = rng();
        double d;
        std::memcpy(&d, &bits, sizeof d);
        check(QXValue(d));
        check(QXValue(static_cast<double>(static_cast<long>(rng() % 2000000) - 1000000) /
                      static_cast<double>(1 + rng() % 1000)));
    }
}

// A byte above ASCII is noticed wherever it stands, and only a text's own bytes count, whatever
// its storage holds past its end (a shorter text copied over a longer one keeps the rest); each
// name or value beyond ASCII is checked for UTF-8.
TEST_F(LayoutTest, NonAsciiTextsAreFoundAndCheckedEachOnItsOwn) {
    CommandLayout layout;
    for (std::size_t len = 0; len <= 40; ++len) {
        const std::string plain(len, 'a');
        for (std::size_t at = 0; at < len; ++at) {
            std::string text = plain;
            text[at] = '\xE9';
            layout.Render(7102, {Para("P", {text})});
            EXPECT_FALSE(layout.IsAscii()) << len << " " << at;
            EXPECT_EQ(":x:{P=" + text + "};\n\n", layout.View());
            layout.Render(7102, {Para(text, {"1"})});
            EXPECT_FALSE(layout.IsAscii()) << len << " " << at;
        }
        for (std::size_t storage : {std::size_t{15}, len + 40}) {
            if (storage <= len) continue;
            std::string old(storage, 'a');
            old[storage - 1] = '\xE9';
            old[len + 1 < storage ? len + 1 : storage - 1] = '\xE9';
            MMLParaStruct p = Para("P", {old});
            p.values[0].SetString(plain.data(), len);
            p.name = QXValue(old, false);
            p.name.SetString(len == 0 ? "N" : plain.data(), len == 0 ? 1 : len);
            layout.Render(7102, {p});
            EXPECT_TRUE(layout.IsAscii()) << len << " " << storage;
            EXPECT_TRUE(layout.IsKnownUtf8()) << len << " " << storage;
        }
    }

    layout.Render(7102, {Para("caf\xC3\xA9", {"1", "\xE4\xB8\xAD" + std::string(30, 'x')})});
    EXPECT_FALSE(layout.IsAscii());
    EXPECT_TRUE(layout.IsKnownUtf8());
    for (const std::string bad : {"\xC3", "x\xC3(", "\xED\xA0\x80", "\xF4\x90\x80\x80"}) {
        layout.Render(7102, {Para("P", {"\xC3\xA9", bad})});
        EXPECT_FALSE(layout.IsKnownUtf8()) << bad;
        layout.Render(7102, {Para(bad, {"1"})});
        EXPECT_FALSE(layout.IsKnownUtf8()) << bad;
        layout.Clear();
        layout.AppendNamed(bad, {Para("P", {"1"})});
        EXPECT_FALSE(layout.IsKnownUtf8()) << bad;
    }
}

}  // namespace
