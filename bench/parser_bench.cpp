// Throughput of AnalyseOneCommandEx over the two generated corpora (BenchCorpus.h), commands as
// the script reader hands them to the parser, and of the generated parser alone beside it. The
// argument is the corpus: 0 gentle, 1 harsh.
//
//   build/bench/parser_bench --benchmark_min_time=2
#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <vector>

#include "BenchCorpus.h"
#include "parser/Grammar.h"
#include "qx_scriptutil/ScriptParser.h"

using namespace NSQX_script;

namespace {

const std::vector<std::string>& TheCorpus(int corpus) {
    static const auto make = [](int which) {
        bench_corpus::Generator gen(which, 20240601u);
        std::vector<std::string> commands;
        for (int i = 0; i < 4000; ++i) commands.push_back(bench_corpus::Parsed(gen.Command()));
        return commands;
    };
    static const std::vector<std::string> corpora[] = {make(bench_corpus::kGentle),
                                                       make(bench_corpus::kHarsh)};
    return corpora[corpus];
}

std::int64_t CorpusBytes(int corpus) {
    std::int64_t bytes = 0;
    for (const std::string& c : TheCorpus(corpus)) bytes += static_cast<std::int64_t>(c.size());
    return bytes;
}

template <class Parse>
void Run(benchmark::State& state, Parse parse, bool fresh) {
    const int corpus = static_cast<int>(state.range(0));
    const std::vector<std::string>& commands = TheCorpus(corpus);
    MMLCmdStruct reused;
    for (auto _ : state) {
        for (const std::string& text : commands) {
            MMLCmdStruct own;
            MMLCmdStruct& cmd = fresh ? own : reused;
            if (parse(text, cmd) != 0) state.SkipWithError("parse failed");
            benchmark::DoNotOptimize(cmd.paraList.data());
        }
    }
    state.SetLabel(bench_corpus::CorpusName(corpus));
    state.counters["corpus_bytes"] = static_cast<double>(CorpusBytes(corpus));
    state.SetBytesProcessed(state.iterations() * CorpusBytes(corpus));
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(commands.size()));
}

// The script reader's pattern: one command record filled again and again.
void BM_ParseReused(benchmark::State& state) {
    Run(state, AnalyseOneCommandEx, false);
}
BENCHMARK(BM_ParseReused)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

// A new record per command: every tree is allocated and freed.
void BM_ParseFresh(benchmark::State& state) {
    Run(state, AnalyseOneCommandEx, true);
}
BENCHMARK(BM_ParseFresh)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

// The detailed entry, as a reader that reports positions would call it.
void BM_ParseDetailed(benchmark::State& state) {
    Run(
        state,
        [](const std::string& text, MMLCmdStruct& cmd) {
            return AnalyseOneCommandDetailed(text, cmd).status;
        },
        false);
}
BENCHMARK(BM_ParseDetailed)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

// The generated parser without the hand-written one in front, for comparison.
void BM_ParseGrammarReused(benchmark::State& state) {
    Run(state, parser::ParseWithGrammar, false);
}
BENCHMARK(BM_ParseGrammarReused)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
