#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "parser/ParseBuilder.h"
#include "qx_platform/Trace.h"
#include "qx_scriptutil/ScriptParser.h"
#include "tests/TreeText.h"

using namespace NSQX_script;

namespace {

using tree_text::Show;

// Parses into a fresh command and renders the result, "#n" for a non-zero result.
std::string Parse(const std::string& text) {
    MMLCmdStruct cmd;
    const int r = AnalyseOneCommandEx(text, cmd);
    return r == 0 ? Show(cmd) : "#" + std::to_string(r) + " " + Show(cmd);
}

std::string ParseQuietly(const std::string& text) {
    testing::internal::CaptureStdout();
    std::string out = Parse(text);
    testing::internal::GetCapturedStdout();
    return out;
}

}  // namespace

TEST(ParserScanner, NumbersHexadecimalsAndFractions) {
    EXPECT_EQ(Parse(":X:{A=12,B=12-3,C=1e5,D=-0x10,E=-,F=-7,G=007};"),
              "X:'A'=12,'B'='12-3','C'='1e5','D'='-0x10','E'='-','F'=-7,'G'=7");
    // Names follow the same rules; a number name stays a 64-bit integer.
    EXPECT_EQ(Parse(":X:{12=a,1a=b,_=c};"), "X:12='a','1a'='b','_'='c'");
    // Decimal values wrap to 32 bits; beyond 64 bits they saturate first.
    EXPECT_EQ(
        Parse(":X:{A=2147483648,B=-2147483649,C=99999999999999999999,D=-99999999999999999999};"),
        "X:'A'=-2147483648,'B'=2147483647,'C'=-1,'D'=0");
    // Hexadecimal values keep 32 bits, saturating beyond them.
    EXPECT_EQ(Parse(":X:{A=-1.50,B=0x1F,C=0X1F,D=0xffFFffFF,E=0x1FFFFFFFF,F=0x1fg};"),
              "X:'A'=-1.5d,'B'=31,'C'='0X1F','D'=4294967295,'E'=4294967295,'F'='0x1fg'");
    EXPECT_EQ(Parse(":X:{A=0x000000000000000000007,B=0x11111111111111111111};"),
              "X:'A'=7,'B'=4294967295");
    // A full stop ends a fraction; there is no exponent and no leading full stop.
    EXPECT_EQ(Parse(":X:{A=12.,B=-0.25};"), "X:'A'=12.d,'B'=-0.25d");
    for (const char* bad : {":X:{A=.5};", ":X:{A=+1};"}) EXPECT_EQ(ParseQuietly(bad), "#1 X:");
    // The value list is complete when the stray token arrives, so the parameter stands.
    for (const char* bad : {":X:{A=1.5.2};", ":X:{A=1.5e3};"})
        EXPECT_EQ(ParseQuietly(bad), "#1 X:'A'=1.5d") << bad;
}

TEST(ParserScanner, Strings) {
    // Backslash pairs are kept as written, even before a quote or a newline.
    EXPECT_EQ(Parse(":X:{A=\"a\\\"b\",B=\"x\\\ny\",\"C D\"=\"\"};"),
              "X:'A'='a\\\"b','B'='x\\\ny','C D'=''");
    // A bracketed string runs to the last closing bracket before a quote or the end.
    EXPECT_EQ(Parse(":X:{A=[p],B=[q]};"), "X:'A'='p],B=[q'");
    EXPECT_EQ(Parse(":X:{A=[p\\]],B=\"]\"};"), "X:'A'='p\\]','B'=']'");
    EXPECT_EQ(ParseQuietly(":X:{A=[a\"b]\"};"), "#1 X:");
    // Openings that cannot close are single characters: syntax errors, not hangs.
    EXPECT_EQ(ParseQuietly(":X:{A=\"abc};"), "#1 X:");
    EXPECT_EQ(ParseQuietly(":X:{A=" + std::string(60000, '[') + "};"), "#1 X:");
    std::string quotes;
    for (int i = 0; i < 30000; ++i) quotes += "\"\\";
    EXPECT_EQ(ParseQuietly(":X:{A=" + quotes + "};"), "#1 X:");
    EXPECT_EQ(ParseQuietly(":X:{A=[\\" + std::string(60000, '[') + "};"), "#1 X:");
    // A lone bracket followed later by a closing one inside a quote scans as one string there.
    EXPECT_EQ(Parse(":X:{A=\"[\",B=[x]};"), "X:'A'='[','B'='x'");
}

TEST(ParserGrammar, AcceptsAndRefuses) {
    EXPECT_EQ(Parse(":X:{};"), "X:");
    EXPECT_EQ(Parse(" :Cfg-set_1 :\t{ A = 1 ,\nB=2 } ; \n "), "Cfg-set_1:'A'=1,'B'=2");
    EXPECT_EQ(Parse(":X:{,A=1};"), "X:'A'=1");  // a leading comma is tolerated
    for (const char* bad :
         {":X:{A=1,};", ":X:{,};", "X:{};", ":X:{A=1}; :Y:{};", ":X:{A=1}", ":\"X\":{};", ":12:{};",
          ":X:;", ":X:{A};", ":X:{A=};", ":X:{A=1;", ":X:{A=1}};", ":X:{A=1,,B=2};", ""}) {
        EXPECT_EQ(ParseQuietly(bad).substr(0, 2), "#1") << bad;
    }
    // The parameters built before an error stay.
    EXPECT_EQ(ParseQuietly(":X:{A=1,B={C=2,D=3&}};"), "#1 X:'A'=1,'B'={'C'=2}");
}

TEST(ParserActions, Ranges) {
    EXPECT_EQ(Parse(":X:{A=1&&3&5,B=x&y};"), "X:'A'=1i&2i&3i&5,'B'='x'&'y'");
    EXPECT_EQ(ParseQuietly(":X:{A=1&&&3};"), "#1 X:");  // "&&" then "&"
    EXPECT_EQ(ParseQuietly(":X:{A=1&&x};"), "#1 X:");
    EXPECT_EQ(ParseQuietly(":X:{A=x&&y};"), "#1 X:'A'='x'");
    EXPECT_EQ(ParseQuietly(":X:{A=1&&2.5};"), "#1 X:");
    EXPECT_EQ(Parse(":X:{A=3&&1,B=0&3&&1&4};"), "X:'A'=,'B'=0&4");
    EXPECT_EQ(Parse(":X:{1&&3=x,5&&1=y,z&2&&2=1&&2};"),
              "X:1i='x',2i='x',3i='x','z'=1i&2i,2i=1i&2i");
    // The counter is a 32-bit integer started from the first bound narrowed to 32 bits.
    EXPECT_EQ(Parse(":X:{A=0xFFFFFFFF&&0,B=0x80000000&&-2147483647};"),
              "X:'A'=-1i&0i,'B'=-2147483648i&-2147483647i");
    // It stops at its maximum instead of wrapping.
    EXPECT_EQ(Parse(":X:{A=2147483646&&0xFFFFFFFF};"), "X:'A'=2147483646i&2147483647i");
    // Large ranges parse; only those too large for memory fail, the parse and not the process.
    // The bound counts stored values, through either parser (a trailing blank declines the
    // hand-written one).
    MMLCmdStruct cmd;
    for (const char* tail : {"};", "}; "}) {
        ASSERT_EQ(AnalyseOneCommandEx(std::string(":X:{A=x,B=-1000000&&3194302") + tail, cmd), 0);
        ASSERT_EQ(cmd.paraList.at(1).values.size(), 4194303u);
        EXPECT_EQ(cmd.paraList[1].values.back().AsInt(), 3194302);
        EXPECT_EQ(ParseQuietly(std::string(":X:{A=1,B=-1000000&&3194303") + tail).substr(0, 2),
                  "#1");
    }
    qxp::TraceCapture trace;
    testing::internal::CaptureStdout();
    EXPECT_EQ(AnalyseOneCommandEx(":X:{A=1,B=0&&0xFFFFFFFF};", cmd), 1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Script parse error : command expands to more than 4194304 values \n");
    ASSERT_EQ(trace.Lines().size(), 1u);
    EXPECT_EQ(trace.Lines()[0].level, 1);
    EXPECT_EQ(trace.Lines()[0].text,
              "AnalyseOneCommand failed, command expands to more than 4194304 values.\n");
    std::string names(":X:{N");
    for (int i = 0; i < 3000; ++i) names += "&N";
    EXPECT_EQ(ParseQuietly(names + "=1&&1000};").substr(0, 2), "X:");
    EXPECT_EQ(ParseQuietly(names + "=1&&3000};").substr(0, 2), "#1");
}

TEST(ParserActions, ObjectGroups) {
    EXPECT_EQ(Parse(":X:{A={B=1}&{B=2},C=3};"), "X:'A'={'B'=1}&{'B'=2},'C'=3");
    EXPECT_EQ(Parse(":X:{A&C={B=1}};"), "X:'A'={'B'=1}");  // only the first name
    EXPECT_EQ(Parse(":X:{A={}&{},B={B={C={D=1}}&{E=2}}&{F=x&y}};"),
              "X:'A'={}&{},'B'={'B'={'C'={'D'=1}}&{'E'=2}}&{'F'='x'&'y'}");
    // Deep nesting grows the parser's stacks well past their first 150 entries.
    std::string deep = ":X:{";
    for (int i = 0; i < 2000; ++i) deep += "A={";
    deep += "B=1" + std::string(2000, '}') + "};";
    std::string tree = "X:";
    for (int i = 0; i < 2000; ++i) tree += "'A'={";
    EXPECT_EQ(Parse(deep), tree + "'B'=1" + std::string(2000, '}'));
}

TEST(ParserMessages, StandardOutput) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(Parse(":X:{A=1,};"), "#1 X:'A'=1");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Script parse error : syntax error \n");
    // Unmatched characters are echoed and otherwise ignored.
    testing::internal::CaptureStdout();
    EXPECT_EQ(Parse(":X:{A=1\r\n,B<=`2\x7f\xff};\r\n"), "X:'A'=1,'B'=2");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "\r<`\x7f\xff\r");
}

TEST(ParserMessages, DebugTrace) {
    testing::internal::CaptureStdout();
    SetParserDebug(true);
    Parse(":X:{A=1&&2};");
    Parse(":X:{A=};");
    SetParserDebug(false);
    const std::string out = testing::internal::GetCapturedStdout();
    testing::internal::CaptureStdout();
    Parse(":X:{};");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    for (const char* text :
         {"State 0, token -none-\n", "Received token ':'\n", "Received token IDENT\n",
          "Received token TO\n", "token end-of-file\n", "Reduce by (28) \"command : IDENT\"\n",
          "Reduce by (3) \"parameter_list : '{'\"\n", "Reduce by (27) \"set : NUMBER TO NUMBER\"\n",
          "Reduce by (1) \"access_cmd : message\"\n", "Script parse error : syntax error \n",
          "Error recovery pops state", ", uncovers state 0\n"}) {
        EXPECT_NE(out.find(text), std::string::npos) << text;
    }
    EXPECT_EQ(out.find("Stack now"), std::string::npos);
}

TEST(ParserLimits, LengthAndOverlongTokens) {
    const std::string head = ":X:{A=";
    std::string text = head + std::string(131071 - head.size() - 3, 'v') + "};";
    text.insert(text.size() - 2, " ");
    ASSERT_EQ(text.size(), 131071u);
    MMLCmdStruct cmd;
    EXPECT_EQ(AnalyseOneCommandEx(text, cmd), 0);
    EXPECT_EQ(cmd.paraList.at(0).values.at(0).StringRef().size(), 131071 - head.size() - 3);
    qxp::TraceCapture trace;
    EXPECT_EQ(AnalyseOneCommandEx(text + " ", cmd), kParseTooLong);
    ASSERT_EQ(trace.Lines().size(), 1u);
    EXPECT_EQ(trace.Lines()[0].level, 1);
    EXPECT_EQ(trace.Lines()[0].text, "AnalyseOneCommandEx failed, input string is too long.\n");
    // Without the length check a token of 131072 bytes ends the process.
    EXPECT_EQ(AnalyseOneCommand(head + std::string(131071, 'v') + "};", cmd), 0);
    EXPECT_EXIT(AnalyseOneCommand(head + std::string(131072, 'v') + "};", cmd),
                testing::ExitedWithCode(1), "");
    EXPECT_EXIT(AnalyseOneCommand(head + "\"" + std::string(131070, 'v') + "\"};", cmd),
                testing::ExitedWithCode(1), "");
    // The text ends at its first NUL.
    EXPECT_EQ(Parse(std::string(":X:{A=1};\0garbage", 17)), "X:'A'=1");
}

TEST(ParserDetailed, ReasonsAndOffsets) {
    // Each failure as "offset reason"; the tree and status are those of AnalyseOneCommandEx.
    const auto failure = [](const std::string& text) {
        MMLCmdStruct detailed;
        MMLCmdStruct plain;
        testing::internal::CaptureStdout();
        const TParseResult r = AnalyseOneCommandDetailed(text, detailed);
        const std::string printed = testing::internal::GetCapturedStdout();
        testing::internal::CaptureStdout();
        const int status = AnalyseOneCommandEx(text, plain);
        testing::internal::GetCapturedStdout();
        EXPECT_EQ(printed, "") << text;
        EXPECT_EQ(r.status, status) << text;
        EXPECT_EQ(Show(detailed), Show(plain)) << text;
        return r ? "ok" : std::to_string(r.offset) + " " + r.reason;
    };
    EXPECT_EQ(failure(":X:{A=1\r\n,B<=`2};"), "ok");  // skipped bytes alone do not fail
    EXPECT_EQ(failure(":X:{A=1,#B=2};"), "8 unexpected character '#'");
    EXPECT_EQ(failure(":X:{A=<};"), "6 unexpected character '<'");
    EXPECT_EQ(failure(":X:{A=\x01};"), "6 unexpected byte 0x01");
    EXPECT_EQ(failure(":X:{A=\x7f};"), "6 unexpected byte 0x7F");
    EXPECT_EQ(failure(":X:{A=1,\xC3\xA9=2};"), "8 non-ASCII character outside quotes");
    EXPECT_EQ(failure(":X:{A=1,B=\"open};"), "10 unterminated quote");
    EXPECT_EQ(failure(":X:{A=1,/*B=2};"), "8 unterminated comment");
    EXPECT_EQ(failure(":X:{A=1,/*B*/C=2};"), "8 unexpected character '/'");
    EXPECT_EQ(failure(":X:{A=1,B=2"), "11 unexpected end of command");
    EXPECT_EQ(failure(":X:{A=1}"), "8 unexpected end of command");
    EXPECT_EQ(failure(std::string(":X:{A=1\0};", 10)), "7 unexpected end of command");
    EXPECT_EQ(failure(":X:{A==1};"), "6 unexpected '='");
    EXPECT_EQ(failure(":X:{A=1,};"), "8 unexpected '}'");
    EXPECT_EQ(failure(":X:{A=1}; :Y:{};"), "10 unexpected ':'");
    EXPECT_EQ(failure(":X:{A=1 2};"), "8 unexpected '2'");
    EXPECT_EQ(failure(":X:{A=\"q\" \"r\"};"), "10 unexpected '\"r\"'");
    EXPECT_EQ(failure(":X:{A=1&&x};"), "9 unexpected 'x'");
    EXPECT_EQ(failure(":X:{A=1,B=0&&0xFFFFFFFF};"),
              "10 command expands to more than 4194304 values");
    MMLCmdStruct cmd;
    const TParseResult tooLong = AnalyseOneCommandDetailed(std::string(131072, ' '), cmd);
    EXPECT_EQ(std::to_string(tooLong.status) + " " + std::to_string(tooLong.offset) + " " +
                  tooLong.reason,
              std::to_string(kParseTooLong) + " 131071 command longer than 131071 bytes");
}

TEST(ParserDetailed, Notes) {
    // Every note as "offset+length kind message", in text order.
    const auto notes = [](const std::string& text) {
        MMLCmdStruct cmd;
        std::string out;
        const TParseResult r = AnalyseOneCommandDetailed(text, cmd);
        for (const TParseNote& n : r.notes) {
            out += std::to_string(n.offset) + "+" + std::to_string(n.length) + " " + "NBD"[n.kind] +
                   " " + n.message + "\n";
        }
        return out;
    };
    // Both parsers: the hand-written one takes the first command, the generated one the second.
    for (const char* tail : {"};", "};\r"}) {
        EXPECT_EQ(notes(std::string(":X:{A=4294967296,2147483648=-2147483648&-2147483649,"
                                    "B=0xFFFFFFFF&0x100000000&0000000000007&2147483647,C=5&&1") +
                        tail),
                  "6+10 N 4294967296 does not fit 32 bits and reads as 0\n"
                  "17+10 N 2147483648 does not fit 32 bits and reads as -2147483648\n"
                  "40+11 N -2147483649 does not fit 32 bits and reads as 2147483647\n"
                  "65+11 N 0x100000000 does not fit 32 bits and reads as 0\n"
                  "104+4 B 5&&1 is a backward range and reads as no values\n")
            << tail;
    }
    // Bounds and blanks, names, and a failure: only what was taken before it is noted.
    EXPECT_EQ(notes(":X:{A=4294967297 && 0,9999999999&&1=x,B=99999999999 1};"),
              "6+10 N 4294967297 does not fit 32 bits and reads as 1\n"
              "6+15 B 4294967297&&0 is a backward range and reads as no values\n"
              "22+10 N 9999999999 does not fit 32 bits and reads as 1410065407\n"
              "22+13 B 9999999999&&1 is a backward range and reads as no values\n"
              "40+11 N 99999999999 does not fit 32 bits and reads as 1215752191\n");
    EXPECT_EQ(notes(":X:{A=1 99999999999};"), "");
    EXPECT_EQ(notes(":X:{A=-4294967296&&4294967298};"),
              "6+11 N -4294967296 does not fit 32 bits and reads as 0\n"
              "19+10 N 4294967298 does not fit 32 bits and reads as 2\n");
    // Bytes outside quotes that no token takes are read as if absent: each run is one note, and
    // a run that makes the parse fail is the failure's reason instead.
    EXPECT_EQ(notes(":X:{A=caf\xC3\xA9,B=\x01\"\xC3\xA9\"};"),
              "9+2 D 2 bytes outside quotes fit no token and are dropped: \\xC3\\xA9\n"
              "14+1 D 1 byte outside quotes fits no token and is dropped: \\x01\n");
    EXPECT_EQ(notes(":X:{A=\xC3\xA9};"), "");
}
