// Throughput of AnalyseOneCommandEx over a generated, deterministic corpus of commands shaped
// like exported configuration (SampleCommands), and of the generated parser alone beside it.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <vector>

#include "parser/Grammar.h"
#include "parser/SampleCommands.h"
#include "qx_scriptutil/ScriptParser.h"

using namespace NSQX_script;

namespace {

const std::vector<std::string>& TheCorpus() {
    static const std::vector<std::string> corpus = parser::SampleCommands(20240601u).Commands(4000);
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

// The generated parser without the hand-written one in front, for comparison.
void BM_ParseGrammarReused(benchmark::State& state) {
    const std::vector<std::string>& corpus = TheCorpus();
    MMLCmdStruct cmd;
    for (auto _ : state) {
        for (const std::string& text : corpus) {
            if (parser::ParseWithGrammar(text, cmd) != 0) state.SkipWithError("parse failed");
            benchmark::DoNotOptimize(cmd.paraList.data());
        }
    }
    state.SetBytesProcessed(state.iterations() * CorpusBytes());
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(corpus.size()));
}
BENCHMARK(BM_ParseGrammarReused)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
