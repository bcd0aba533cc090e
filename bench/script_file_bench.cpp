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
        std::FILE* f = std::fopen(path.c_str(), "rb");
        std::fseek(f, 0, SEEK_END);
        bytes += static_cast<std::size_t>(std::ftell(f));
        std::fclose(f);
    }
    state.SetBytesProcessed(static_cast<int64_t>(bytes));
    state.SetItemsProcessed(static_cast<int64_t>(commands));
    state.counters["peak_rss_MiB"] = static_cast<double>(PeakRssKiB()) / 1024.0;
}
BENCHMARK(BM_ReadScript)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_WriteScript(benchmark::State& state) {
    // The commands to write are taken from the script itself, read once.
    std::vector<TScriptCmd> cmds;
    {
        TScriptFileImpl file(1);
        file.OpenForRead(1, nullptr, ScriptPath().c_str());
        file.GoToFirstCommand();
        TScriptCmd cmd;
        while (file.GetOneCommand(cmd) && cmds.size() < 20000) cmds.push_back(cmd);
    }
    for (auto _ : state) {
        TScriptFileImpl file(1);
        if (!file.OpenForWriteNoHead(nullptr, "/tmp/qx_bench_out.txt")) state.SkipWithError("open");
        for (auto& c : cmds) file.WriteCommand(c);
    }
    std::FILE* f = std::fopen("/tmp/qx_bench_out.txt", "rb");
    std::fseek(f, 0, SEEK_END);
    const std::size_t bytes =
        static_cast<std::size_t>(std::ftell(f)) * static_cast<std::size_t>(state.iterations());
    std::fclose(f);
    state.SetBytesProcessed(static_cast<int64_t>(bytes));
    state.SetItemsProcessed(static_cast<int64_t>(cmds.size() * state.iterations()));
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
