#include <optional>
#include <string>
#include <vector>

#include "qx_platform/Trace.h"
#include "qx_scriptutil/ScriptParser.h"
#include "tests/EnumTable.h"
#include "tests/TreeText.h"

using namespace NSQX_script;
using tree_text::Para;

namespace {

// What the script writer puts out for a parameter: the stored texts joined by "&".
std::string Written(MMLParaStruct const& para) {
    std::string text = para.name.As_std_string() + "=";
    for (std::size_t i = 0; i < para.values.size(); ++i)
        text += (i != 0 ? "&" : "") + para.values[i].As_std_string();
    return text;
}

// Command 5 has the enumeration STATE (ON = 1, OFF = 0) in the test table.
class TypedAccessTest : public enum_table::Test {
  protected:
    void SetUp() override {
        enum_table::Test::SetUp();
        ASSERT_EQ(QXScriptEnumMgr::Instance()->Init("good.xml"), 0u);
    }

    // A read by name of one value; nothing when the read fails.
    template <typename T>
    static std::optional<T> Read(TScriptCmdRef& from, char const* name, bool remove = false) {
        T value{};
        if (!from.GetPara(name, value, remove)) return std::nullopt;
        return value;
    }
    template <typename T>
    std::optional<T> Read(char const* name, bool remove = false) {
        return Read<T>(cmd, name, remove);
    }
    static std::optional<std::vector<int>> IntsOf(TScriptCmdRef& from, char const* name,
                                                  int count) {
        std::vector<int> values;
        if (!from.GetPara(name, values, count, false)) return std::nullopt;
        return values;
    }

    TScriptCmd cmd{5};
};

using Ints = std::vector<int>;

}  // namespace

TEST_F(TypedAccessTest, ReadsByPositionAndByNameTakeTheFirstMatchAndRemoveOnRequest) {
    cmd.GetParaList() = {Para("A", {"x"}), Para("B", {"y"})};
    CStdString name, value;
    EXPECT_TRUE(cmd.GetPara(1u, name, value));
    EXPECT_EQ(name + "=" + value, "B=y");
    EXPECT_FALSE(cmd.GetPara(2u, name, value));
    MMLParaStruct para;
    EXPECT_FALSE(TScriptCmdRef().GetPara(0u, para));

    cmd.GetParaList() = {Para("A", {1L}), Para("a", {3L}), Para("A", {2L})};
    EXPECT_EQ(Read<int>("A"), 1);  // kept: the removing read below still finds it
    EXPECT_EQ(Read<int>("A", true), 1);
    EXPECT_EQ(Read<int>("A", true), 2);
    EXPECT_EQ(Read<int>("A", true), std::nullopt);
    EXPECT_EQ(Read<int>(nullptr), std::nullopt);
    ASSERT_EQ(cmd.GetSize(), 1u);

    // A read that fails after the parameter was found still removes it.
    cmd.GetParaList() = {Para("T", {"x", "y"})};
    EXPECT_EQ(Read<CStdString>("T", true), std::nullopt);
    EXPECT_EQ(cmd.GetSize(), 0u);
}

TEST_F(TypedAccessTest, TextReadsNeedOneValueAndUndoEscaping) {
    cmd.GetParaList() = {Para("A", {1L, 2L}), Para("D", {"x\\$"}), Para("Q", {"say \\\"hi\\\""}),
                         Para("N", {1.5})};
    EXPECT_EQ(Read<CStdString>("A"), std::nullopt);
    EXPECT_EQ(Read<CStdString>("D"), CStdString("x\\"));
    EXPECT_EQ(Read<CStdString>("Q"), CStdString("say \"hi\""));
    EXPECT_EQ(Read<CStdString>("N"), CStdString("1.5"));

    std::vector<CStdString> texts;
    EXPECT_FALSE(cmd.GetPara("A", texts, 3, false));
    ASSERT_TRUE(cmd.GetPara("A", texts, 2, false));
    EXPECT_EQ(texts, (std::vector<CStdString>{"1", "2"}));
}

TEST_F(TypedAccessTest, NumberReadsTryTheEnumerationFirst) {
    cmd.GetParaList() = {Para("STATE", {1L, "OFF", "x", "17", 2.7, "on"}), Para("STATE", {"ON"}),
                         Para("F", {"2.5"}), Para("G", {"abc"}), Para("U", {"-1"})};
    CStdString name;
    std::vector<int> ints = {99};
    ASSERT_TRUE(cmd.GetPara(0u, name, ints, 0));
    EXPECT_EQ(name, "STATE");
    EXPECT_EQ(ints, (Ints{1, 0, 17, 2}));
    EXPECT_FALSE(cmd.GetPara(0u, name, ints, 5));
    std::vector<unsigned long> wide;
    ASSERT_TRUE(cmd.GetPara("U", wide, 1, false));
    EXPECT_EQ(wide, (std::vector<unsigned long>{0xFFFFFFFFul}));

    int value = -1;
    ASSERT_TRUE(cmd.GetPara(1u, name, value));
    EXPECT_EQ(value, 1);
    float real = 0;
    ASSERT_TRUE(cmd.GetPara(1u, name, real));
    EXPECT_EQ(real, 1.0f);
    EXPECT_EQ(Read<float>("F"), 2.5f);
    EXPECT_EQ(Read<float>("G"), std::nullopt);
    EXPECT_EQ(Read<int>("G"), std::nullopt);
    EXPECT_EQ(Read<unsigned long>("U"), 0xFFFFFFFFul);
    // Another command has no such enumeration.
    cmd.SetCmdCode(6);
    EXPECT_FALSE(cmd.GetPara(1u, name, value));
}

TEST_F(TypedAccessTest, AddingPreparesTheTextAndAppends) {
    EXPECT_TRUE(cmd.AddPara("A", 1.5f, false));
    EXPECT_TRUE(cmd.AddPara("Q", "\"a\"b\"", false, false));     // quoted: escaped inside
    EXPECT_TRUE(cmd.AddPara("L", "\"a\"&\"b\"", false, false));  // a list of quoted values
    EXPECT_TRUE(cmd.AddPara("P", "a\"b", false, false));         // plain: kept
    EXPECT_TRUE(cmd.AddPara("S", "a\"b\\", true, false));        // one string: escaped
    EXPECT_TRUE(cmd.AddPara("E", "", true, false));
    EXPECT_FALSE(cmd.AddPara("E", "", false, false));
    EXPECT_FALSE(cmd.AddPara("E", nullptr, false, false));
    EXPECT_FALSE(cmd.AddPara("", "x", false, false));
    EXPECT_FALSE(cmd.AddPara(nullptr, "x", false, false));
    EXPECT_FALSE(TScriptCmdRef().AddPara("A", "x", false, false));
    EXPECT_EQ(tree_text::Show(cmd.GetParaList()),
              R"('A'='1.500000','Q'='"a\"b"','L'='"a"&"b"','P'='a"b','S'='a\"b\\','E'='')");

    qxp::TraceCapture trace;
    const std::string big(100001, 'b');
    EXPECT_FALSE(cmd.AddPara("belongs", big.c_str(), false, false));
    EXPECT_TRUE(trace.Contains("TScriptCmdRef::AddPara failed."));
    EXPECT_TRUE(cmd.AddPara("belongs", big.c_str() + 1, false, false));
    EXPECT_TRUE(cmd.AddPara("other", big.c_str(), false, false));
    EXPECT_EQ(cmd.GetSize(), 8u);
}

TEST_F(TypedAccessTest, DividedValuesAndNumbersReadBack) {
    ASSERT_TRUE(cmd.AddPara("V", "1&2&&5&\"x&y\"&[p&q]&{A=1&2}", false, true));
    ASSERT_TRUE(cmd.AddPara("STATE", Ints{1, -2, 3}, false, false, false));
    ASSERT_TRUE(cmd.AddPara("U", 0xFFFFFFFFul, false, false));  // kept as a 32-bit int
    ASSERT_TRUE(cmd.AddPara("I", -5, false, false, false));
    EXPECT_FALSE(cmd.AddPara("EMPTY", Ints{}, false, false, false));
    EXPECT_EQ(tree_text::Show(cmd.GetParaList()),
              R"('V'='1'&'2&&5'&'"x&y"'&'[p&q]'&'{A=1&2}','STATE'='1'&'-2'&'3','U'='-1','I'='-5')");
    EXPECT_EQ(IntsOf(cmd, "STATE", 3), (Ints{1, -2, 3}));
    EXPECT_EQ(Read<unsigned long>("U"), 0xFFFFFFFFul);
    EXPECT_EQ(Read<int>("I"), -5);
}

TEST_F(TypedAccessTest, UpdatesReplaceValuesInPlace) {
    cmd.GetParaList() = {Para("A", {"1"}), Para("B", {"2"})};
    MMLParaStruct other = Para("C", {"3"});
    EXPECT_TRUE(cmd.UpdatePara(1u, other));
    EXPECT_FALSE(cmd.UpdatePara(2u, other));
    EXPECT_TRUE(cmd.UpdatePara("A", "\"q\"uote\""));
    std::vector<CStdString> many = {"x", "y"};
    EXPECT_TRUE(cmd.UpdatePara("C", many));
    EXPECT_FALSE(cmd.UpdatePara("missing", "x"));
    EXPECT_FALSE(cmd.UpdatePara("A", ""));
    EXPECT_EQ(tree_text::Show(cmd.GetParaList()), R"('A'='"q\"uote"','C'='x'&'y')");
}

TEST_F(TypedAccessTest, ObjectParametersWalkTheirGroups) {
    cmd.GetParaList() = {Para("PLAIN", {"x"})};
    ASSERT_TRUE(cmd.AddObjectPara("OBJ={A=1,B=b1}&{A=2}"));
    EXPECT_FALSE(cmd.AddObjectPara("OBJ={A=1"));  // a syntax error adds nothing
    EXPECT_EQ(tree_text::Show(cmd.GetParaList()), "'PLAIN'='x','OBJ'={'A'=1,'B'='b1'}&{'A'=2}");
    cmd.SetLineNo(12);

    TScriptCmd nested;
    ASSERT_TRUE(cmd.GetObjectPara("OBJ", nested, false));
    EXPECT_EQ(nested.GetCmdCode(), 5u);
    EXPECT_EQ(nested.GetLineNo(), 12u);
    EXPECT_EQ(Read<int>(nested, "A", true), 1);
    EXPECT_EQ(Read<int>(nested, "A", true), 2);
    EXPECT_EQ(nested.GetSize(), 1u);

    EXPECT_FALSE(cmd.GetObjectPara("PLAIN", nested, true));
    EXPECT_TRUE(cmd.GetObjectPara("OBJ", nested, true));
    EXPECT_EQ(cmd.GetSize(), 0u);
    EXPECT_FALSE(cmd.GetObjectPara("OBJ", nested, false));
}

// Values added here, written as the script writer writes them and parsed again, read back as
// they went in.
TEST_F(TypedAccessTest, AddedParametersSurviveWritingAndParsing) {
    ASSERT_TRUE(cmd.AddPara("PATH", "\"C:\\dir\"x\"", false, false));
    ASSERT_TRUE(cmd.AddPara("LIST", Ints{4, 5}, false, false, false));
    ASSERT_TRUE(cmd.AddPara("R", "1&&3", false, false));
    std::string text = ":cfg:{";
    for (const MMLParaStruct& para : cmd.GetParaList()) text += Written(para) + ",";
    text += "X=1};";
    MMLCmdStruct parsed;
    ASSERT_EQ(AnalyseOneCommandEx(text, parsed), 0) << text;
    TScriptCmd back(5, parsed.paraList, 1);
    EXPECT_EQ(Read<CStdString>(back, "PATH"), CStdString("C:\\dir\"x"));
    EXPECT_EQ(IntsOf(back, "LIST", 2), (Ints{4, 5}));
    EXPECT_EQ(IntsOf(back, "R", 3), (Ints{1, 2, 3}));
}
