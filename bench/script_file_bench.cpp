// Reading and writing whole script files: a generated 64 MiB script of each corpus
// (BenchCorpus.h; the argument is the corpus, 0 gentle, 1 harsh) is read through
// OpenForRead/GetOneCommand and written through WriteCommand; the baselines read it with
// getc_unlocked and write the already rendered text with fwrite. With two threads each reads a
// script of its own. Temporary files carry the process id and are removed at the end.
//
//   build/bench/script_file_bench --benchmark_filter=. --benchmark_min_time=1

#include <benchmark/benchmark.h>

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "BenchCorpus.h"
#include "qx_scriptutil/CmdNameConvert.h"
#include "qx_scriptutil/TScriptFileImpl.h"

using namespace NSQX_script;

namespace {

// 64 MiB; QX_BENCH_SCRIPT_MIB sets another size (bench/callgrind.sh takes less).
const std::size_t kScriptBytes = [] {
    const char* mib = std::getenv("QX_BENCH_SCRIPT_MIB");
    return (mib != nullptr && std::atoi(mib) > 0 ? static_cast<std::size_t>(std::atoi(mib)) : 64)
           << 20;
}();

using bench_corpus::CommandName;
using bench_corpus::kNames;

void RegisterNames() {
    static const bool once = [] {
        for (int i = 0; i < kNames; ++i)
            CmdNameConvert::AddCmdNameIDMap(CommandName(i).c_str(), 1000 + i);
        return true;
    }();
    (void)once;
}

// Files of this process: several people may run the benchmarks on one machine at once.
std::string TempPath(const char* what) {
    return "/tmp/qx_bench_" + std::string(what) + "_" + std::to_string(getpid()) + ".txt";
}

// A script of the generator's first commands, at least `bytes` long.
void WriteScript(const std::string& path, std::size_t bytes, int corpus, unsigned seed = 7) {
    RegisterNames();
    std::ofstream out(path, std::ios::binary);
    out << "// SlotFlagVer=1.1 \n// encoding=\"UTF-8\"\n\n";
    bench_corpus::Generator gen(corpus, seed);
    std::size_t size = 0;
    while (size < bytes) {
        const std::string cmd = gen.Command();
        out << cmd;
        size += cmd.size();
    }
}

// A 64 MiB script of the corpus, made on first use and removed when the program ends; copy 1
// is another script of the same corpus, for a second thread.
struct Script {
    std::string path;
    Script(int corpus, int copy)
        : path(TempPath(
              (std::string(bench_corpus::CorpusName(corpus)) + std::to_string(copy)).c_str())) {
        WriteScript(path, kScriptBytes, corpus, 7 + static_cast<unsigned>(copy));
    }
    ~Script() { std::remove(path.c_str()); }
};

const std::string& ScriptPath(int corpus, int copy = 0) {
    static const Script gentle(bench_corpus::kGentle, 0);
    static const Script harsh(bench_corpus::kHarsh, 0);
    if (copy == 0) return corpus == bench_corpus::kHarsh ? harsh.path : gentle.path;
    static const Script gentle2(bench_corpus::kGentle, 1);
    static const Script harsh2(bench_corpus::kHarsh, 1);
    return corpus == bench_corpus::kHarsh ? harsh2.path : gentle2.path;
}

std::size_t FileSize(const std::string& path) {
    std::ifstream in(path, std::ios::binary | std::ios::ate);
    return static_cast<std::size_t>(in.tellg());
}

long PeakRssKiB() {
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.rfind("VmHWM:", 0) == 0) return std::stol(line.substr(6));
    }
    return -1;
}

void ResetPeakRss() {
    std::ofstream("/proc/self/clear_refs") << "5";
}

void BM_ReadScript(benchmark::State& state) {
    const int corpus = static_cast<int>(state.range(0));
    const std::string& path = ScriptPath(corpus, state.thread_index() % 2);
    std::size_t bytes = 0;
    std::size_t commands = 0;
    if (state.thread_index() == 0) ResetPeakRss();
    for (auto _ : state) {
        TScriptFileImpl file(1);
        if (!file.OpenForRead(1, nullptr, path.c_str())) state.SkipWithError("cannot open");
        file.GoToFirstCommand();
        TScriptCmd cmd;
        while (file.GetOneCommand(cmd)) ++commands;
        bytes += FileSize(path);
    }
    state.SetLabel(bench_corpus::CorpusName(corpus));
    state.SetBytesProcessed(static_cast<int64_t>(bytes));
    state.SetItemsProcessed(static_cast<int64_t>(commands));
    if (state.thread_index() == 0)
        state.counters["peak_rss_MiB"] = static_cast<double>(PeakRssKiB()) / 1024.0;
    // What bench/callgrind.sh divides by.
    state.counters["read_MiB"] = static_cast<double>(bytes) / (1u << 20);
}
BENCHMARK(BM_ReadScript)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_ReadScript)->Arg(0)->Arg(1)->Threads(2)->Unit(benchmark::kMillisecond)->UseRealTime();

// The first 256 commands of the generated script, as the reader hands them out.
std::vector<TScriptCmd> SampleCommands(int corpus) {
    const std::string path = TempPath("sample");
    WriteScript(path, 1u << 20, corpus);
    std::vector<TScriptCmd> cmds;
    {
        TScriptFileImpl file(1);
        file.OpenForRead(1, nullptr, path.c_str());
        file.GoToFirstCommand();
        TScriptCmd cmd;
        while (cmds.size() < 256 && file.GetOneCommand(cmd)) cmds.push_back(cmd);
    }
    std::remove(path.c_str());
    return cmds;
}

// One round of the commands as the writer renders them.
std::string RenderedRound(std::vector<TScriptCmd>& cmds) {
    const std::string path = TempPath("round");
    {
        TScriptFileImpl file(1);
        file.OpenForWriteNoHead(nullptr, path.c_str());
        for (auto& c : cmds) file.WriteCommand(c);
    }
    std::ifstream in(path, std::ios::binary);
    std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    std::remove(path.c_str());
    return text;
}

// An export builds one command, writes it and drops it, so the command is hot in the cache when
// it is written: 256 commands taken from the script are written in turn until 64 MiB stand in
// the file.
void BM_WriteScript(benchmark::State& state) {
    const int corpus = static_cast<int>(state.range(0));
    state.SetLabel(bench_corpus::CorpusName(corpus));
    std::vector<TScriptCmd> cmds = SampleCommands(corpus);
    const std::size_t roundBytes = RenderedRound(cmds).size();
    const std::size_t rounds = (kScriptBytes + roundBytes - 1) / roundBytes;
    const std::string out = TempPath("out");
    for (auto _ : state) {
        TScriptFileImpl file(1);
        if (!file.OpenForWriteNoHead(nullptr, out.c_str())) state.SkipWithError("open");
        for (std::size_t r = 0; r < rounds; ++r) {
            for (auto& c : cmds) file.WriteCommand(c);
        }
    }
    std::remove(out.c_str());
    state.SetBytesProcessed(static_cast<int64_t>(roundBytes * rounds * state.iterations()));
    // Everything WriteCommand rendered, the round that measured its size included: what
    // bench/callgrind.sh divides by.
    state.counters["written_MiB"] =
        static_cast<double>(roundBytes * (rounds * state.iterations() + 1)) / (1u << 20);
    state.SetItemsProcessed(static_cast<int64_t>(cmds.size() * rounds * state.iterations()));
}
BENCHMARK(BM_WriteScript)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime();

// BM_WriteScript into /dev/null: the same rendering and system calls without the page cache,
// which tells the writer's own time from the kernel's (the rest of BM_WriteScript's time, about
// what BM_FwriteBaseline takes).
void BM_WriteScriptNull(benchmark::State& state) {
    const int corpus = static_cast<int>(state.range(0));
    state.SetLabel(bench_corpus::CorpusName(corpus));
    std::vector<TScriptCmd> cmds = SampleCommands(corpus);
    const std::size_t roundBytes = RenderedRound(cmds).size();
    const std::size_t rounds = (kScriptBytes + roundBytes - 1) / roundBytes;
    for (auto _ : state) {
        TScriptFileImpl file(1);
        if (!file.OpenForWriteNoHead(nullptr, "/dev/null")) state.SkipWithError("open");
        for (std::size_t r = 0; r < rounds; ++r) {
            for (auto& c : cmds) file.WriteCommand(c);
        }
    }
    state.SetBytesProcessed(static_cast<int64_t>(roundBytes * rounds * state.iterations()));
}
BENCHMARK(BM_WriteScriptNull)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime();

// What writing costs without rendering: the same 64 MiB, already rendered, handed to fwrite one
// command at a time through a stream with the writer's 64 KiB buffer, so that the kernel gets
// the same blocks. The difference to BM_WriteScript is the rendering.
void BM_FwriteBaseline(benchmark::State& state) {
    const int corpus = static_cast<int>(state.range(0));
    state.SetLabel(bench_corpus::CorpusName(corpus));
    std::vector<TScriptCmd> cmds = SampleCommands(corpus);
    const std::string round = RenderedRound(cmds);
    // Each command's own piece of the round, as WriteCommand hands it over.
    std::vector<std::string_view> pieces;
    for (std::size_t at = 0; at < round.size();) {
        const std::size_t end = round.find(";\n\n", at);
        const std::size_t next = end == std::string::npos ? round.size() : end + 3;
        pieces.emplace_back(round.data() + at, next - at);
        at = next;
    }
    const std::size_t rounds = (kScriptBytes + round.size() - 1) / round.size();
    const std::string out = TempPath("out");
    std::vector<char> buffer(64 * 1024);
    for (auto _ : state) {
        std::FILE* f = std::fopen(out.c_str(), "wb");
        if (f == nullptr) {
            state.SkipWithError("open");
            break;
        }
        std::setvbuf(f, buffer.data(), _IOFBF, buffer.size());
        for (std::size_t r = 0; r < rounds; ++r) {
            for (std::string_view p : pieces) std::fwrite(p.data(), 1, p.size(), f);
        }
        std::fclose(f);
    }
    std::remove(out.c_str());
    state.SetBytesProcessed(static_cast<int64_t>(round.size() * rounds * state.iterations()));
}
BENCHMARK(BM_FwriteBaseline)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime();

// The plain baseline: the file read with getc_unlocked, counting ";".
void BM_GetcBaseline(benchmark::State& state) {
    const int corpus = static_cast<int>(state.range(0));
    state.SetLabel(bench_corpus::CorpusName(corpus));
    const std::string& path = ScriptPath(corpus);
    std::size_t bytes = 0;
    for (auto _ : state) {
        std::FILE* f = std::fopen(path.c_str(), "rb");
        std::size_t semis = 0;
        int c;
        while ((c = getc_unlocked(f)) != EOF) {
            ++bytes;
            semis += c == ';';
        }
        std::fclose(f);
        benchmark::DoNotOptimize(semis);
    }
    state.SetBytesProcessed(static_cast<int64_t>(bytes));
}
BENCHMARK(BM_GetcBaseline)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
BENCHMARK_MAIN();
