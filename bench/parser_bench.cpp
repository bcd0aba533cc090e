// Throughput of AnalyseOneCommandEx over a generated, deterministic corpus of commands shaped
// like exported configuration: about 40 command names, 2 to 25 parameters, "&" lists of up to
// 200 values, ranges, quoted strings with escapes and object groups nested up to three levels.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <vector>

#include "qx_scriptutil/ScriptParser.h"

using namespace NSQX_script;

namespace {

class Corpus {
  public:
    explicit Corpus(std::uint32_t seed) : state_(seed) {}

    std::vector<std::string> Commands(std::size_t count) {
        std::vector<std::string> out;
        out.reserve(count);
        for (std::size_t i = 0; i < count; ++i) out.push_back(Command());
        return out;
    }

  private:
    std::uint32_t Next() {
        state_ = state_ * 1664525u + 1013904223u;
        return state_ >> 8;
    }
    std::uint32_t Below(std::uint32_t n) { return Next() % n; }

    std::string Command() {
        static const char* const kVerbs[] = {"add", "set", "mod", "del", "cfg-set"};
        static const char* const kObjects[] = {"board", "port",  "vlan",   "ospf",
                                               "alarm", "cross", "tunnel", "qos"};
        std::string text = ":";
        text += kVerbs[Below(5)];
        text += "-";
        text += kObjects[Below(8)];
        text += ":{";
        Parameters(text, 2 + Below(24), 0);
        text += "};";
        return text;
    }

    void Parameters(std::string& text, std::uint32_t count, int depth) {
        for (std::uint32_t i = 0; i < count; ++i) {
            if (i) text += ",";
            Name(text, i);
            text += "=";
            if (depth < 3 && Below(10) == 0) {
                const std::uint32_t groups = 1 + Below(3);
                for (std::uint32_t g = 0; g < groups; ++g) {
                    text += g ? "&{" : "{";
                    Parameters(text, 1 + Below(4), depth + 1);
                    text += "}";
                }
            } else {
                Values(text);
            }
        }
    }

    void Name(std::string& text, std::uint32_t index) {
        static const char* const kNames[] = {"ne",   "slot",  "port", "vlanid", "name",
                                             "mode", "rate",  "desc", "enable", "bid",
                                             "pid",  "level", "type", "ip",     "mask"};
        text += kNames[(index + Below(3)) % 15];
        if (Below(4) == 0) text += std::to_string(Below(100));
    }

    void Values(std::string& text) {
        const std::uint32_t roll = Below(100);
        const std::uint32_t count = roll < 70 ? 1 : roll < 90 ? 2 + Below(6) : 8 + Below(193);
        for (std::uint32_t i = 0; i < count; ++i) {
            if (i) text += "&";
            Value(text);
        }
    }

    void Value(std::string& text) {
        switch (Below(12)) {
            case 0:
            case 1:
            case 2:
            case 3:
                text += std::to_string(Below(5000));
                break;
            case 4:
                text += "-" + std::to_string(Below(100000));
                break;
            case 5: {
                const std::uint32_t from = Below(64);
                text += std::to_string(from) + "&&" + std::to_string(from + Below(16));
                break;
            }
            case 6:
                text += "0x" + std::to_string(10 + Below(89)) + "AF";
                break;
            case 7:
                text += std::to_string(Below(1000)) + "." + std::to_string(Below(100));
                break;
            case 8:
            case 9: {
                static const char* const kWords[] = {
                    "enable", "disable", "auto", "full-duplex", "gigabit_eth", "tdm", "sdh-stm16"};
                text += kWords[Below(7)];
                break;
            }
            default: {
                text += "\"";
                const std::uint32_t length = 3 + Below(40);
                for (std::uint32_t i = 0; i < length; ++i) {
                    const std::uint32_t c = Below(40);
                    if (c == 0)
                        text += "\\\"";
                    else if (c == 1)
                        text += "\\\\";
                    else
                        text += static_cast<char>(c < 10 ? ' ' : 'a' + c % 26);
                }
                text += "\"";
                break;
            }
        }
    }

    std::uint32_t state_;
};

const std::vector<std::string>& TheCorpus() {
    static const std::vector<std::string> corpus = Corpus(20240601u).Commands(4000);
    return corpus;
}

std::int64_t CorpusBytes() {
    std::int64_t bytes = 0;
    for (const std::string& c : TheCorpus()) bytes += static_cast<std::int64_t>(c.size());
    return bytes;
}

// The script reader's pattern: one command record filled again and again.
void BM_ParseReused(benchmark::State& state) {
    const std::vector<std::string>& corpus = TheCorpus();
    MMLCmdStruct cmd;
    for (auto _ : state) {
        for (const std::string& text : corpus) {
            if (AnalyseOneCommandEx(text, cmd) != 0) state.SkipWithError("parse failed");
            benchmark::DoNotOptimize(cmd.paraList.data());
        }
    }
    state.SetBytesProcessed(state.iterations() * CorpusBytes());
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(corpus.size()));
}
BENCHMARK(BM_ParseReused)->Unit(benchmark::kMillisecond);

// A new record per command: every tree is allocated and freed.
void BM_ParseFresh(benchmark::State& state) {
    const std::vector<std::string>& corpus = TheCorpus();
    for (auto _ : state) {
        for (const std::string& text : corpus) {
            MMLCmdStruct cmd;
            if (AnalyseOneCommandEx(text, cmd) != 0) state.SkipWithError("parse failed");
            benchmark::DoNotOptimize(cmd.paraList.data());
        }
    }
    state.SetBytesProcessed(state.iterations() * CorpusBytes());
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(corpus.size()));
}
BENCHMARK(BM_ParseFresh)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
