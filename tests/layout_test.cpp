#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "file/CommandLayout.h"
#include "qx_platform/Trace.h"
#include "qx_scriptutil/CmdNameConvert.h"

using namespace NSQX_script;

namespace {

MMLParaStruct Para(const std::string& name, const std::vector<std::string>& values) {
    MMLParaStruct p;
    p.name = QXValue(name, false);
    for (const std::string& v : values) p.values.emplace_back(v, false);
    return p;
}

MMLParaStruct Obj(const std::string& name, const std::vector<std::vector<MMLParaStruct>>& groups) {
    MMLParaStruct p;
    p.name = QXValue(name, false);
    p.objects = groups;
    return p;
}

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

TEST_F(LayoutTest, ShortCommandsValuesAndObjects) {
    std::vector<MMLParaStruct> paras = {
        Obj("O", {{Para("A", {"1"}), Para("B", {"2"})}, {Para("A", {"3"}), Para("B", {"4"})}}),
        Para("C", {"5", "\"q\""})};
    EXPECT_EQ(":x:{O={A=1, B=2}&{A=3, B=4}, C=5&\"q\"};\n\n", Render(7102, paras));

    // Numbers are written as their text; a number may also be a name.
    MMLParaStruct n;
    n.name = QXValue(3);
    n.values = {QXValue(5), QXValue(123456789012L), QXValue(1.5), QXValue(-7)};
    EXPECT_EQ(":x:{3=5&123456789012&1.5&-7};\n\n", Render(7102, {n}));
}

TEST_F(LayoutTest, WrapsLongValueListsButNeverAfterTheLastValue) {
    // Column 6 after ":cmd:{", 10 after "P=", 11 per value: the 7th value reaches 87.
    std::vector<std::string> nine(9, kTen);
    std::string seven;
    for (int i = 0; i < 7; ++i) seven += (i ? "&" : "") + kTen;
    EXPECT_EQ(":cmd:{P=" + seven + "\n  &" + kTen + "&" + kTen + "};\n\n",
              Render(7101, {Para("P", nine)}));

    // Ending on the 7th value: no wrap there, the next separator wraps instead.
    std::vector<std::string> exactSeven(7, kTen);
    EXPECT_EQ(":cmd:{P=" + seven + "};\n\n", Render(7101, {Para("P", exactSeven)}));
    EXPECT_EQ(":cmd:{P=" + seven + ", \n  Q=1};\n\n",
              Render(7101, {Para("P", exactSeven), Para("Q", {"1"})}));

    // A list that wraps twice restarts its count at column 2 each time.
    std::vector<std::string> many(20, kTen);
    std::string expect = ":cmd:{P=";
    for (int i = 0; i < 20; ++i) {
        if (i) expect += "&";
        expect += kTen;
        if (i == 6 || i == 14) expect += "\n  ";  // 87, then 2 + 8 * 11 = 90
    }
    EXPECT_EQ(expect + "};\n\n", Render(7101, {Para("P", many)}));
}

TEST_F(LayoutTest, WrapsBetweenManyParameters) {
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
}

TEST_F(LayoutTest, ObjectMembersShareTheColumn) {
    // 6 + 2 + 2 ("O=") + 2 + 2 ("A=") + 71 = 85; the member separator then wraps inside braces.
    std::string seventy(70, 'v');
    EXPECT_EQ(":cmd:{O={A=" + seventy + ", \n  B=1}};\n\n",
              Render(7101, {Obj("O", {{Para("A", {seventy}), Para("B", {"1"})}})}));

    // A name long enough that the first parameter's own step passes 80.
    EXPECT_EQ(":" + std::string(77, 'n') + ":{\n  A=1};\n\n", Render(7103, {Para("A", {"1"})}));
}

TEST_F(LayoutTest, RawLinesEmptyCommandsAndBufferReuse) {
    std::vector<MMLParaStruct> raw = {Para("a", {"// note "}), Para("b", {}),
                                      Para("c", {"x", "y"})};
    CommandLayout layout;
    EXPECT_EQ(CommandLayout::Kind::kRaw, layout.Render(999999, raw));
    EXPECT_EQ("// note x\n", layout.Text());

    EXPECT_EQ(CommandLayout::Kind::kNothing, layout.Render(7101, {}));
    EXPECT_EQ("", layout.Text());

    TScriptCmdRef none;
    EXPECT_EQ(CommandLayout::Kind::kNothing, layout.Render(none));

    TScriptCmd cmd(7102);
    cmd.GetParaList().push_back(Para("A", {"1"}));
    EXPECT_EQ(CommandLayout::Kind::kNamed, layout.Render(cmd));
    EXPECT_EQ(":x:{A=1};\n\n", layout.Text());
    EXPECT_EQ(&cmd.GetParaList(), cmd.GetParaListPtr());
}

TEST_F(LayoutTest, EmptyNamesAndEmptyValueLists) {
    std::vector<MMLParaStruct> paras = {Para("", {"1"}), Para("B", {}), Para("C", {"2"})};
    {
        qxp::TraceCapture trace;
        EXPECT_EQ(":x:{=1, B=, C=2};\n\n", Render(7102, paras));
        EXPECT_TRUE(trace.Contains("TScriptFileImpl::WriteParaList, ParaName is empty.\n"));
        EXPECT_FALSE(trace.Contains("ParaValue List is empty."));
    }
    {
        qxp::TraceCapture trace;
        EXPECT_EQ(":x:{B=, C=2};\n\n", Render(7102, paras, kConvertLogLayout));
        EXPECT_TRUE(trace.Contains("ParaName is empty when write command.\n"));
        EXPECT_TRUE(trace.Contains("ParaValue List is empty.\n"));
    }
}

// Numbers are formatted straight into the buffer; each must read exactly as the value's own text.
TEST_F(LayoutTest, NumbersReadAsTheirValueText) {
    std::vector<QXValue> values;
    for (long v : {0L, 1L, -1L, 9L, 10L, 99L, 100L, 9999L, 10000L, 99999999L, 100000000L,
                   -99999999L, -100000000L, 4294967295L, std::numeric_limits<long>::max(),
                   std::numeric_limits<long>::min()}) {
        values.emplace_back(v);
    }
    for (int v :
         {0, 7, -7, 12345, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
        values.emplace_back(v);
    }
    std::mt19937_64 rng(11);
    for (int i = 0; i < 2000; ++i) {
        const long wide = static_cast<long>(rng());
        values.emplace_back(wide >> (rng() % 64));  // every digit count, both signs
        std::uint64_t bits = rng();
        double d;
        std::memcpy(&d, &bits, sizeof d);
        values.emplace_back(d);
        values.emplace_back(static_cast<double>(static_cast<long>(rng() % 2000000) - 1000000) /
                            static_cast<double>(1 + rng() % 1000));
    }
    for (double d :
         {0.0, -0.0, 1.5, 12.0, -0.25, 0.1, 1e300, -1e-300, std::numeric_limits<double>::max(),
          std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity(),
          std::numeric_limits<double>::quiet_NaN()}) {
        values.emplace_back(d);
    }
    CommandLayout layout;
    for (const QXValue& v : values) {
        MMLParaStruct p;
        p.name = QXValue("P", false);
        p.values = {v};
        layout.Render(7102, {p});
        ASSERT_EQ(":x:{P=" + v.As_std_string() + "};\n\n", layout.Text());
    }
}

TEST_F(LayoutTest, TextsWithAByteAboveAsciiAreNoticedWhereverItStands) {
    CommandLayout layout;
    for (std::size_t len = 1; len <= 40; ++len) {
        const std::string plain(len, 'a');
        layout.Render(7102, {Para("P", {plain})});
        EXPECT_TRUE(layout.IsAscii()) << len;
        for (std::size_t at = 0; at < len; ++at) {
            std::string text = plain;
            text[at] = '\xE9';
            layout.Render(7102, {Para("P", {text})});
            EXPECT_FALSE(layout.IsAscii()) << len << " " << at;
            EXPECT_EQ(":x:{P=" + text + "};\n\n", layout.View());
            layout.Render(7102, {Para(text, {"1"})});
            EXPECT_FALSE(layout.IsAscii()) << len << " " << at;
        }
    }
}

}  // namespace
