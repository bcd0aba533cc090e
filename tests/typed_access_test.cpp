#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "qx_platform/Control.h"
#include "qx_platform/Trace.h"
#include "qx_scriptutil/QXScriptEnumMgr.h"
#include "qx_scriptutil/ScriptParser.h"
#include "qx_scriptutil/TScriptCmd.h"

using namespace NSQX_script;

namespace {

// QX_TEST_DATA names the data folder; without it, the folder beside this source file.
std::string TestDataBesideSource() {
    const std::string source = __FILE__;
    return source.substr(0, source.find_last_of('/') + 1) + "data";
}

MMLParaStruct Para(char const* name, std::vector<QXValue> values) {
    MMLParaStruct para;
    para.name = QXValue(name, false);
    para.values = std::move(values);
    return para;
}

QXValue Text(char const* text) {
    return QXValue(text, false);
}

std::vector<std::string> ValueTexts(MMLParaStruct const& para) {
    std::vector<std::string> texts;
    for (auto const& value : para.values) texts.push_back(value.As_std_string());
    return texts;
}

// What the script writer puts out for a parameter: the stored texts joined by "&".
std::string Written(MMLParaStruct const& para) {
    std::string text = para.name.As_std_string() + "=";
    for (std::size_t i = 0; i < para.values.size(); ++i) {
        if (i != 0) text += "&";
        text += para.values[i].As_std_string();
    }
    return text;
}

// Command 5 has the enumeration STATE (ON = 1, OFF = 0) in the test table.
class TypedAccessTest : public ::testing::Test {
  protected:
    void SetUp() override {
        const char* dir = std::getenv("QX_TEST_DATA");
        qxp::SetAppRootPath((dir != nullptr ? std::string(dir) : TestDataBesideSource()) +
                            "/enum/");
        ASSERT_EQ(QXScriptEnumMgr::Instance()->Init("good.xml"), 0u);
    }
    void TearDown() override {
        while (QXScriptEnumMgr::GetRefCount() != 0 || QXScriptEnumMgr::IsLoaded()) {
            QXScriptEnumMgr::Instance()->Release();
        }
        QXScriptEnumMgr::Destroy();
        qxp::ResetOverrides();
    }
    TScriptCmd cmd{5};
};

}  // namespace

TEST_F(TypedAccessTest, ReadsByPositionStopAtTheEnd) {
    cmd.GetParaList() = {Para("A", {Text("x")}), Para("B", {Text("y")})};
    CStdString name, value;
    EXPECT_TRUE(cmd.GetPara(1u, name, value));
    EXPECT_EQ(name, "B");
    EXPECT_EQ(value, "y");
    EXPECT_FALSE(cmd.GetPara(2u, name, value));
    MMLParaStruct para;
    EXPECT_FALSE(TScriptCmdRef().GetPara(0u, para));
}

TEST_F(TypedAccessTest, ReadsByNameTakeTheFirstMatchAndRemoveOnRequest) {
    cmd.GetParaList() = {Para("A", {QXValue(1L)}), Para("a", {QXValue(3L)}),
                         Para("A", {QXValue(2L)})};
    int value = 0;
    EXPECT_TRUE(cmd.GetPara("A", value, false));
    EXPECT_EQ(value, 1);
    EXPECT_TRUE(cmd.GetPara("A", value, false));
    EXPECT_EQ(value, 1);
    EXPECT_TRUE(cmd.GetPara("A", value, true));
    EXPECT_EQ(value, 1);
    EXPECT_TRUE(cmd.GetPara("A", value, true));
    EXPECT_EQ(value, 2);
    EXPECT_FALSE(cmd.GetPara("A", value, true));
    EXPECT_FALSE(cmd.GetPara(nullptr, value, false));
    ASSERT_EQ(cmd.GetSize(), 1u);

    // A read that fails after the parameter was found still removes it.
    cmd.GetParaList() = {Para("T", {Text("x"), Text("y")})};
    CStdString text;
    EXPECT_FALSE(cmd.GetPara("T", text, true));
    EXPECT_EQ(cmd.GetSize(), 0u);
}

TEST_F(TypedAccessTest, TextReadsNeedOneValueAndUndoEscaping) {
    cmd.GetParaList() = {Para("A", {QXValue(1L), QXValue(2L)}), Para("D", {Text("x\\$")}),
                         Para("Q", {Text("say \\\"hi\\\"")}), Para("N", {QXValue(1.5)})};
    CStdString text;
    EXPECT_FALSE(cmd.GetPara("A", text, false));
    ASSERT_TRUE(cmd.GetPara("D", text, false));
    EXPECT_EQ(text, "x\\");
    ASSERT_TRUE(cmd.GetPara("Q", text, false));
    EXPECT_EQ(text, "say \"hi\"");
    ASSERT_TRUE(cmd.GetPara("N", text, false));
    EXPECT_EQ(text, "1.5");

    std::vector<CStdString> texts;
    EXPECT_FALSE(cmd.GetPara("A", texts, 3, false));
    ASSERT_TRUE(cmd.GetPara("A", texts, 2, false));
    EXPECT_EQ(texts, (std::vector<CStdString>{"1", "2"}));
}

TEST_F(TypedAccessTest, NumberReadsTryTheEnumerationFirst) {
    cmd.GetParaList() = {
        Para("STATE", {QXValue(1L), Text("OFF"), Text("x"), Text("17"), QXValue(2.7), Text("on")}),
        Para("STATE", {Text("ON")}), Para("F", {Text("2.5")}), Para("G", {Text("abc")}),
        Para("U", {Text("-1")})};
    CStdString name;
    std::vector<int> ints = {99};
    ASSERT_TRUE(cmd.GetPara(0u, name, ints, 0));
    EXPECT_EQ(name, "STATE");
    EXPECT_EQ(ints, (std::vector<int>{1, 0, 17, 2}));
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
    ASSERT_TRUE(cmd.GetPara("F", real, false));
    EXPECT_EQ(real, 2.5f);
    EXPECT_FALSE(cmd.GetPara("G", real, false));
    EXPECT_FALSE(cmd.GetPara("G", value, false));
    unsigned long code = 0;
    ASSERT_TRUE(cmd.GetPara("U", code, false));
    EXPECT_EQ(code, 0xFFFFFFFFul);
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
    auto const& list = cmd.GetParaList();
    ASSERT_EQ(list.size(), 6u);
    EXPECT_EQ(ValueTexts(list[0]), std::vector<std::string>{"1.500000"});
    EXPECT_EQ(ValueTexts(list[1]), std::vector<std::string>{"\"a\\\"b\""});
    EXPECT_EQ(ValueTexts(list[2]), std::vector<std::string>{"\"a\"&\"b\""});
    EXPECT_EQ(ValueTexts(list[3]), std::vector<std::string>{"a\"b"});
    EXPECT_EQ(ValueTexts(list[4]), std::vector<std::string>{"a\\\"b\\\\"});
    EXPECT_EQ(ValueTexts(list[5]), std::vector<std::string>{""});

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
    EXPECT_EQ(ValueTexts(cmd.GetParaList()[0]),
              (std::vector<std::string>{"1", "2&&5", "\"x&y\"", "[p&q]", "{A=1&2}"}));

    ASSERT_TRUE(cmd.AddPara("STATE", std::vector<int>{1, -2, 3}, false, false, false));
    ASSERT_TRUE(cmd.AddPara("U", 0xFFFFFFFFul, false, false));
    ASSERT_TRUE(cmd.AddPara("I", -5, false, false, false));
    EXPECT_FALSE(cmd.AddPara("EMPTY", std::vector<int>{}, false, false, false));
    std::vector<int> ints;
    ASSERT_TRUE(cmd.GetPara("STATE", ints, 3, false));
    EXPECT_EQ(ints, (std::vector<int>{1, -2, 3}));
    unsigned long code = 0;
    ASSERT_TRUE(cmd.GetPara("U", code, false));
    EXPECT_EQ(code, 0xFFFFFFFFul);
    int value = 0;
    ASSERT_TRUE(cmd.GetPara("I", value, false));
    EXPECT_EQ(value, -5);
}

TEST_F(TypedAccessTest, UpdatesReplaceValuesInPlace) {
    cmd.GetParaList() = {Para("A", {Text("1")}), Para("B", {Text("2")})};
    MMLParaStruct other = Para("C", {Text("3")});
    EXPECT_TRUE(cmd.UpdatePara(1u, other));
    EXPECT_FALSE(cmd.UpdatePara(2u, other));
    EXPECT_EQ(cmd.GetParaList()[1].name.As_std_string(), "C");

    EXPECT_TRUE(cmd.UpdatePara("A", "\"q\"uote\""));
    EXPECT_EQ(ValueTexts(cmd.GetParaList()[0]), std::vector<std::string>{"\"q\\\"uote\""});
    std::vector<CStdString> many = {"x", "y"};
    EXPECT_TRUE(cmd.UpdatePara("C", many));
    EXPECT_EQ(ValueTexts(cmd.GetParaList()[1]), (std::vector<std::string>{"x", "y"}));
    EXPECT_FALSE(cmd.UpdatePara("missing", "x"));
    EXPECT_FALSE(cmd.UpdatePara("A", ""));
    EXPECT_EQ(cmd.GetSize(), 2u);
}

TEST_F(TypedAccessTest, ObjectParametersWalkTheirGroups) {
    MMLParaStruct obj = Para("OBJ", {});
    obj.objects.push_back({Para("A", {Text("1")}), Para("B", {Text("b1")})});
    obj.objects.push_back({Para("A", {Text("2")})});
    cmd.GetParaList() = {Para("PLAIN", {Text("x")}), obj};
    cmd.SetLineNo(12);

    TScriptCmd nested;
    ASSERT_TRUE(cmd.GetObjectPara("OBJ", nested, false));
    EXPECT_EQ(nested.GetCmdCode(), 5u);
    EXPECT_EQ(nested.GetLineNo(), 12u);
    int a = 0;
    ASSERT_TRUE(nested.GetPara("A", a, true));
    EXPECT_EQ(a, 1);
    ASSERT_TRUE(nested.GetPara("A", a, true));
    EXPECT_EQ(a, 2);
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
    ASSERT_TRUE(cmd.AddPara("LIST", std::vector<int>{4, 5}, false, false, false));
    ASSERT_TRUE(cmd.AddPara("R", "1&&3", false, false));
    ASSERT_TRUE(cmd.AddObjectPara("OBJ={A=1,B=x}&{A=2}"));
    EXPECT_FALSE(cmd.AddObjectPara("OBJ={A=1"));
    ASSERT_EQ(cmd.GetSize(), 4u);

    std::string text = ":cfg:{";
    for (std::size_t i = 0; i < 3; ++i) text += Written(cmd.GetParaList()[i]) + ",";
    text += "X=1};";
    MMLCmdStruct parsed;
    ASSERT_EQ(AnalyseOneCommandEx(text, parsed), 0) << text;
    TScriptCmd back(5, parsed.paraList, 1);
    CStdString path;
    ASSERT_TRUE(back.GetPara("PATH", path, false));
    EXPECT_EQ(path, "C:\\dir\"x");
    std::vector<int> ints;
    ASSERT_TRUE(back.GetPara("LIST", ints, 2, false));
    EXPECT_EQ(ints, (std::vector<int>{4, 5}));
    ASSERT_TRUE(back.GetPara("R", ints, 3, false));
    EXPECT_EQ(ints, (std::vector<int>{1, 2, 3}));

    TScriptCmd nested;
    ASSERT_TRUE(cmd.GetObjectPara("OBJ", nested, false));
    std::vector<int> as;
    int a = 0;
    while (nested.GetPara("A", a, true)) as.push_back(a);
    EXPECT_EQ(as, (std::vector<int>{1, 2}));
}
