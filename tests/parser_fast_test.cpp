// The hand-written parser claims the commands that scripts hold, always with the generated
// parser's tree, and leaves everything unusual to the generated parser.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "parser/FastParser.h"
#include "parser/Grammar.h"
#include "parser/SampleCommands.h"
#include "qx_scriptutil/ScriptParser.h"
#include "tests/TreeText.h"

using namespace NSQX_script;

namespace {

using tree_text::Show;

// Parses text with both parsers into records that keep their earlier trees, as the script
// reader's does; the hand-written parser must claim it and agree.
class BothParsers {
  public:
    ::testing::AssertionResult Claimed(const std::string& text) {
        testing::internal::CaptureStdout();
        const bool claimed = parser::FastParseCommand(text, fast_);
        const std::string printed = testing::internal::GetCapturedStdout();
        const int result = parser::ParseWithGrammar(text, reference_);
        if (!claimed) return ::testing::AssertionFailure() << "declined " << text;
        if (!printed.empty()) return ::testing::AssertionFailure() << "printed " << printed;
        if (result != 0) return ::testing::AssertionFailure() << "grammar refuses " << text;
        if (Show(fast_) != Show(reference_))
            return ::testing::AssertionFailure()
                   << text << "\n  fast:    " << Show(fast_) << "\n  grammar: " << Show(reference_);
        return ::testing::AssertionSuccess();
    }
    const MMLCmdStruct& Tree() const { return fast_; }

  private:
    MMLCmdStruct fast_;
    MMLCmdStruct reference_;
};

}  // namespace

TEST(FastParser, ClaimsTheBenchmarkCorpusWithTheGrammarsTrees) {
    BothParsers both;
    for (const std::string& text : parser::SampleCommands(20240601u).Commands(4000))
        ASSERT_TRUE(both.Claimed(text));
    for (const std::string& text : parser::SampleCommands(99u, true).Commands(2000))
        ASSERT_TRUE(both.Claimed(text));
}

// Boundary cases of numbers against identifiers, ranges, lists, groups and values read
// straight from the text; a few trees are pinned as well.
TEST(FastParser, ClaimsBoundaryCasesWithTheGrammarsTrees) {
    BothParsers both;
    const std::string texts[] = {
        ":X:{A=12,B=12-3,C=1e5,D=-0x10,E=-,F=-7,G=007,H=--1,I=1-,J=_1,K=a-1};",
        ":X:{A=12.,B=-1.50,C=0.0,D=-0.,E=00012.3400,F=1.5&2.,G=-0.0};",
        ":X:{A=0x1F,B=0X1F,C=0x,D=0xg,E=0x1fg,F=0xffFFffFF,G=0x1FFFFFFFF,H=0x0};",
        ":X:{A=0x11111111111111111111,B=0x000000000000000000007,C=0x1_};",
        ":X:{A=2147483648,B=-2147483649,C=99999999999999999999,D=-99999999999999999999};",
        ":X:{A=9223372036854775807,B=9223372036854775808,C=123456789012345678};",
        ":X:{A=1234567890123456789.5,B=1." + std::string(300, '1') + "};",
        ":X:{12=a,-3=b,0x10=c,0X10=d};",
        ":X:{A=1&&3,B=3&&1,C=5&&5,D=1&&3&7&-2&&0};",
        ":X:{A=2147483645&&2147483647,B=2147483646&&9999999999,C=-2147483648&&-2147483646};",
        ":X:{A=4294967295&&1,B=0x7ffffffe&&0x7fffffff,C=0xfffffffe&&2};",
        ":X:{1&&3=x,5&&1=y,A&B=1&2,A&2&&3&\"q\"=z,0&&2&C={D=1}};",
        ":X:{A={B=1}&{B=2},C={}&{}&{D={E={F={}}}},G&H={I=1}&{J=2}};",
        ":X:{A={B={C=1}&{C=2},D=3}&{B={}},E=4};",
        ":X:{,A=1};",
        ":X:{A=1,5&&1={B=2}&{C=3},D={E=4},2&&1={F=5}};",  // groups without a name
        ":X:{,A={,B=1}};",
        ":X:{};",
        ":X:{A=\"\",B=\"a\\\"b\",C=\"x\\\\\",D=\"\\\n\",E=\"a,b}&c\"};",
        " \t\n:\nX\t: {\n A \t= 1 &\n2 ,B=\t{C = x}\n&\n{ } } ;\n \t\n",
        std::string(":X:{A=1};\0junk", 14),
        // A blank after a number may hide a range operator.
        ":X:{A=1 &&3,B=1&& 3,C=1 & 2,D=0x10 &&0x12,E=7 ,F=\"s\" &t,G=-4\t&&-2};",
        ":X:{A=0x1&&0x3,B=0x1F&&2,C=3&&0x5&9,D=1&&3&x&0x2&&0x4&2.5};",
        // Fractions either side of the fifteen digits that convert exactly.
        ":X:{A=123456789012345.,B=1234567890.12345,C=1234567890.123456,D=-0.000000000000001};",
        ":X:{A=12345678.&9.87654321&-0.5};",
        ":X:{A=12345678,B=123456789,C=99999999&100000000,D=-0,E=000000000000000000000001};",
        ":X:{A=123456789012345678,B=1234567890123456789,C=-123456789012345678};",
        ":X:{A=1,B=22,C=333,D=4444,E=55555,F=666666,G=7777777,H=88888888,I=999999999};",
        ":X:{A=e,B=-e,C=_,D=a1&2b&-&0x&0xx,E=\"\"&\"\\\\\"};",
    };
    for (const std::string& text : texts) EXPECT_TRUE(both.Claimed(text));
    // Hexadecimal numbers of every length up to the longest converted at once and one past it,
    // in mixed case, whole or with one byte that is no hexadecimal digit at each place.
    const std::string digits = "0123456789abcdefABCDEF";
    for (std::size_t n = 1; n <= 17; ++n) {
        std::string hex = "0x";
        for (std::size_t i = 0; i < n; ++i) hex += digits[(n * 7 + i * 5) % digits.size()];
        for (std::size_t bad = 0; bad <= n; ++bad) {
            std::string value = hex;
            if (bad < n) value[2 + bad] = bad % 2 ? 'g' : '_';
            EXPECT_TRUE(both.Claimed(":X:{A=" + value + ",B=1&" + value + "&x};"));
        }
    }
    // Numbers that end right at the end of the text, wherever it falls in memory.
    for (std::size_t pad = 0; pad < 40; ++pad) {
        const std::string text = ":X:{" + std::string(pad, ' ') + "A=12345&-678&&680};";
        EXPECT_TRUE(both.Claimed(text.substr(0, text.size() - 2) + "}\n;"));
        EXPECT_TRUE(both.Claimed(text));
    }
    const std::pair<const char*, const char*> trees[] = {
        {":X:{A=12.,B=-1.50,C=0x1F,D=0X1F,E=12-3};",
         "X:'A'=12.d,'B'=-1.5d,'C'=31,'D'='0X1F','E'='12-3'"},
        {":X:{A&2&&3=5&&6,B=3&&1&x,C={D=1}&{}};",
         "X:'A'=5i&6i,2i=5i&6i,3i=5i&6i,'B'='x','C'={'D'=1}&{}"},
        {":X:{A=1 &&3};", "X:'A'=1i&2i&3i"},
    };
    for (const auto& [text, tree] : trees) {
        ASSERT_TRUE(both.Claimed(text));
        EXPECT_EQ(Show(both.Tree()), tree);
    }
}

// Scans read 16 bytes from where a token starts unless that would cross into the next page,
// and convert up to eight digits at once: tokens of every length ending at and just before a
// page's end must read as they do anywhere else.
TEST(FastParser, ReadsTokensEndingNearAPageEnd) {
    BothParsers both;
    const std::string values[] = {
        "7",          "12345678",           "123456789",   "-1234567890123456789", "00000000012",
        "0.5",        "1234.56789012",      "-98765432.1", "0xABCDEF12",           "value_1-x",
        "\"q\\\"x\"", "12345670&&12345678", "5&-0.25&x",   "0x1234567890abcdEF",   "_ab-1&Zz",
    };
    const std::string head = ":x:{a=\"";
    const std::string mid = "\",b=";
    std::string text;
    text.reserve(3 * 4096);  // assigned again and again within this capacity, so never moved
    const std::uintptr_t base = reinterpret_cast<std::uintptr_t>(text.data());
    for (const std::string& value : values) {
        for (std::size_t before = 0; before < 20; ++before) {
            const std::size_t end = head.size() + mid.size() + value.size() + before;
            const std::size_t pad = (4096 - (base + end) % 4096) % 4096;
            text.assign(head).append(pad, 'p').append(mid).append(value).append("};");
            ASSERT_EQ(reinterpret_cast<std::uintptr_t>(text.data()), base);
            ASSERT_TRUE(both.Claimed(text)) << value << " " << before << " bytes before";
        }
    }
}

// A quoted text's escapes come from each block's backslash mask, carried into the next block:
// runs of backslashes before a quote, straddling block boundaries at every offset, with the
// text ending at and just before a page's end, where the scan shifts its blocks.
TEST(FastParser, ClosesQuotesAfterBackslashRunsAcrossBlocks) {
    BothParsers both;
    std::string text;
    text.reserve(3 * 4096);
    const std::uintptr_t base = reinterpret_cast<std::uintptr_t>(text.data());
    for (std::size_t run = 1; run <= 4; ++run) {
        for (std::size_t at = 0; at < 34; ++at) {
            // An odd run escapes the quote after it, so another one closes the text.
            const std::string value =
                "\"" + std::string(at, 'a') + std::string(run, '\\') + (run % 2 ? "\"b\"" : "\"");
            for (std::size_t before = 0; before < 20; ++before) {
                const std::size_t end = 9 + value.size() + before;
                const std::size_t pad = (4096 - (base + end) % 4096) % 4096;
                text.assign(":x:{a=").append(pad, 'p').append(",b=").append(value).append("};");
                ASSERT_EQ(reinterpret_cast<std::uintptr_t>(text.data()), base);
                ASSERT_TRUE(both.Claimed(text)) << run << " " << at << " " << before;
            }
        }
    }
}

// One record filled by command after command of very different shapes, as the script reader
// does: lists swap places, trimmed texts are handed on, groups give way to values and back.
// Each tree must equal the generated parser's on a fresh record, and no number may keep a text.
TEST(FastParser, ReusedRecordFollowsChangingShapes) {
    const std::string longText(100, 'w');
    std::string longList = ":L:{A=1";
    for (int i = 0; i < 300; ++i)
        longList += i % 3 ? "&" + std::to_string(i) : "&\"" + longText + std::to_string(i) + "\"";
    longList += ",B=0&&999,C=\"" + longText + "\"};";
    // Texts on either side of the length a value holds without a heap buffer.
    const std::string w14(14, 'p'), w15(15, 'q'), w16(16, 'r');
    const std::string texts[] = {
        ":B:{A=" + w14 + "&" + w15 + "&1&" + w16 + ",B=\"" + w15 + "\"&" + w14 + "};",
        ":B:{A=" + w16 + "&" + w14 + "&" + w15 + "&2,B=1.5&" + w16 + "};",
        longList,
        ":S:{A=1,B=2,C=3};",
        ":G:{A={B=\"" + longText + "\"&2}&{C=1&&40},B=x,C={D={E=1}}};",
        longList,
        ":V:{A=\"" + longText + "\",B=\"" + longText + "\"&1&&20,C=" + longText + "};",
        ":G:{A={B=1}&{C=2}&{D=3},B={}};",
        ":R:{A=1&&500,B=-5&&5,C=5&&1};",
        ":E:{};",
        longList,
        ":S:{A=1.5,B=x,C=\"y\"};",
    };
    MMLCmdStruct reused;
    for (int round = 0; round < 3; ++round) {
        for (const std::string& text : texts) {
            ASSERT_EQ(AnalyseOneCommand(text, reused), 0) << text.substr(0, 40);
            MMLCmdStruct fresh;
            ASSERT_EQ(parser::ParseWithGrammar(text, fresh), 0);
            ASSERT_EQ(Show(reused), Show(fresh)) << text.substr(0, 40);
            EXPECT_EQ(Show(reused).find("?stale"), std::string::npos);
        }
    }
    // The generated parser trims a fresh parameter's empty list to a count it has not reached.
    MMLCmdStruct fresh;
    EXPECT_EQ(parser::ParseWithGrammar(":X:{A=1&2&3,B&C=x&y};", fresh), 0);
    EXPECT_EQ(Show(fresh), "X:'A'=1&2&3,'B'='x'&'y','C'='x'&'y'");
}

TEST(FastParser, DeclinesWhatItLeavesToTheGrammar) {
    std::string deep = ":X:{";
    for (int i = 0; i < 100; ++i) deep += "A={";
    deep += "B=1" + std::string(100, '}') + "};";
    std::vector<std::string> texts = {std::string(":X:{A=1\0};", 11), deep, ":X:{A=1};\r\n",
                                      ":X:{A=1" + std::string(400, '0') + ".5};",
                                      ":X:{A=" + std::string(131072, 'a') + "};"};
    // Command shapes it leaves, then tokens and values.
    for (const char* text :
         {"X:{};",         ":X:{A=1,};",   ":X:{,};",         ":X:{A=1}; :Y:{};",
          ":X:{A=1};;",    ":\"X\":{};",   ":12:{};",         ":X:{A};",
          ":X:{A=};",      ":X:{A=1&};",   ":X:{A=1&&};",     ":X:{A=1&&2&&3};",
          ":X:{A=1&&&2};", ":X:{A=x&&y};", ":X:{A=1&&x};",    ":X:{A=1.5&&2};",
          ":X:{1.5=x};",   ":X:{A&&B=1};", ":X:{A={B=1}&C};", ":X:{A={B=1}&&{B=2}};",
          ":X:{A=1}"})
        texts.push_back(text);
    for (const char* text :
         {":X:{A=<1>};", ":X:{A=`1`};", ":X:{A=\\1};", ":X:{A=\xC3\xA9};", ":X:{A=[p],B=[q]};",
          ":X:{A=[p]};", ":X:{A=\"open};", ":X:{A=\"open\\", ":X:{A=1.5e3};", ":X:{A=1&&3 &&5};",
          ":X:{A=x &&2};", ":X:{A=1.5 &&2};", ":X:{A=1234567890.1234567e};", ":X:{A=!};",
          ":X:{A=0&&9000000};"})
        texts.push_back(text);
    // What a parse over an earlier tree gives: result, tree and printed output.
    const auto outcome = [](auto parse, const std::string& text) {
        MMLCmdStruct cmd;
        cmd.paraList.resize(3);
        testing::internal::CaptureStdout();
        const std::string result = std::to_string(parse(text, cmd)) + " " + Show(cmd);
        return result + " printed: " + testing::internal::GetCapturedStdout();
    };
    for (const std::string& text : texts) {
        MMLCmdStruct cmd;
        EXPECT_FALSE(parser::FastParseCommand(text, cmd)) << text.substr(0, 60);
        // Through the public entry the generated parser gives its own answer, printed output
        // and partial trees included.
        if (text.size() > 131071) continue;
        EXPECT_EQ(outcome(AnalyseOneCommand, text), outcome(parser::ParseWithGrammar, text))
            << text.substr(0, 60);
    }
}
