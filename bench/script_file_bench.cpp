// Reading and writing whole script files: a generated 64 MiB script is read through
// OpenForRead/GetOneCommand and written through WriteCommand.
//
//   build/bench/script_file_bench --benchmark_filter=. --benchmark_min_time=1

#include <benchmark/benchmark.h>

#include <cstdio>
#include <fstream>
#include <random>
#include <string>

#include "qx_scriptutil/CmdNameConvert.h"
#include "qx_scriptutil/TScriptFileImpl.h"

using namespace NSQX_script;

namespace {

constexpr int kNames = 40;
constexpr std::size_t kScriptBytes = 64u << 20;

std::string CommandName(int i) {
    return "cfg-cmd-" + std::to_string(i);
}

class Generator {
  public:
    explicit Generator(unsigned seed) : rng_(seed) {}

    std::string Command() {
        std::string s = ":" + CommandName(Pick(kNames)) + ":{";
        const int paras = 2 + Pick(24);
        for (int p = 0; p < paras; ++p) {
            if (p) s += ", ";
            Parameter(s, p, 0);
        }
        s += "};\n\n";
        return s;
    }

  private:
    int Pick(int n) { return static_cast<int>(rng_() % static_cast<unsigned>(n)); }

    void Parameter(std::string& s, int p, int depth) {
        s += "para" + std::to_string(p) + "=";
        const int kind = Pick(depth < 3 ? 10 : 9);
        switch (kind) {
            case 0: {  // a long "&" list
                const int n = 1 + Pick(200);
                for (int i = 0; i < n; ++i) s += (i ? "&" : "") + std::to_string(Pick(100000));
                break;
            }
            case 1:
                s += std::to_string(Pick(50)) + "&&" + std::to_string(50 + Pick(50));
                break;
            case 2:
                s += "\"text with \\\"quotes\\\" and \\\\ " + std::to_string(Pick(1000)) + "\"";
                break;
            case 3:
                s += "0x" + std::to_string(10 + Pick(80));
                break;
            case 4:
                s += std::to_string(Pick(1000)) + "." + std::to_string(Pick(100));
                break;
            case 9: {  // nested groups
                const int groups = 1 + Pick(3);
                for (int g = 0; g < groups; ++g) {
                    s += g ? "&{" : "{";
                    const int members = 1 + Pick(4);
                    for (int m = 0; m < members; ++m) {
                        if (m) s += ",";
                        Parameter(s, m, depth + 1);
                    }
                    s += "}";
                }
                break;
            }
            default:
                s += "value_" + std::to_string(Pick(500));
                break;
        }
    }

    std::mt19937 rng_;
};

const std::string& ScriptPath() {
    static const std::string path = [] {
        for (int i = 0; i < kNames; ++i)
            CmdNameConvert::AddCmdNameIDMap(CommandName(i).c_str(), 1000 + i);
        const std::string p = "/tmp/qx_bench_script.txt";
        std::ofstream out(p, std::ios::binary);
        out << "// SlotFlagVer=1.1 \n// encoding=\"UTF-8\"\n\n";
        Generator gen(7);
        std::size_t size = 0;
        while (size < kScriptBytes) {
            const std::string cmd = gen.Command();
            out << cmd;
            size += cmd.size();
        }
        return p;
    }();
    return path;
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
    const std::string& path = ScriptPath();
    std::size_t bytes = 0;
    std::size_t commands = 0;
    ResetPeakRss();
    for (auto _ : state) {
        TScriptFileImpl file(1);
        if (!file.OpenForRead(1, nullptr, path.c_str())) state.SkipWithError("cannot open");
        file.GoToFirstCommand();
        TScriptCmd cmd;
        while (file.GetOneCommand(cmd)) ++commands;
        bytes += FileSize(path);
    }
    state.SetBytesProcessed(static_cast<int64_t>(bytes));
    state.SetItemsProcessed(static_cast<int64_t>(commands));
    state.counters["peak_rss_MiB"] = static_cast<double>(PeakRssKiB()) / 1024.0;
}
BENCHMARK(BM_ReadScript)->Unit(benchmark::kMillisecond)->UseRealTime();

// An export builds one command, writes it and drops it, so the command is hot in the cache when
// it is written: 256 commands taken from the script are written in turn until 64 MiB stand in
// the file.
void BM_WriteScript(benchmark::State& state) {
    std::vector<TScriptCmd> cmds;
    {
        TScriptFileImpl file(1);
        file.OpenForRead(1, nullptr, ScriptPath().c_str());
        file.GoToFirstCommand();
        TScriptCmd cmd;
        while (cmds.size() < 256 && file.GetOneCommand(cmd)) cmds.push_back(cmd);
    }
    // The size of one round, from writing it once.
    {
        TScriptFileImpl file(1);
        file.OpenForWriteNoHead(nullptr, "/tmp/qx_bench_out.txt");
        for (auto& c : cmds) file.WriteCommand(c);
    }
    const std::size_t roundBytes = FileSize("/tmp/qx_bench_out.txt");
    const std::size_t rounds = (kScriptBytes + roundBytes - 1) / roundBytes;
    for (auto _ : state) {
        TScriptFileImpl file(1);
        if (!file.OpenForWriteNoHead(nullptr, "/tmp/qx_bench_out.txt")) state.SkipWithError("open");
        for (std::size_t r = 0; r < rounds; ++r) {
            for (auto& c : cmds) file.WriteCommand(c);
        }
    }
    state.SetBytesProcessed(static_cast<int64_t>(roundBytes * rounds * state.iterations()));
    state.SetItemsProcessed(static_cast<int64_t>(cmds.size() * rounds * state.iterations()));
}
BENCHMARK(BM_WriteScript)->Unit(benchmark::kMillisecond)->UseRealTime();

// The plain baseline: the file read with getc_unlocked, counting ";".
void BM_GetcBaseline(benchmark::State& state) {
    const std::string& path = ScriptPath();
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
BENCHMARK(BM_GetcBaseline)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
BENCHMARK_MAIN();
