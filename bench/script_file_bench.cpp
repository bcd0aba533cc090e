// Reading and writing whole script files: a generated 64 MiB script is read through
// OpenForRead/GetOneCommand and written through WriteCommand; the baselines read it with
// getc_unlocked and write the already rendered text with fwrite. Temporary files carry the
// process id and are removed at the end.
//
//   build/bench/script_file_bench --benchmark_filter=. --benchmark_min_time=1

#include <benchmark/benchmark.h>

#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <random>
#include <string>
#include <string_view>
#include <vector>

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
void WriteScript(const std::string& path, std::size_t bytes) {
    RegisterNames();
    std::ofstream out(path, std::ios::binary);
    out << "// SlotFlagVer=1.1 \n// encoding=\"UTF-8\"\n\n";
    Generator gen(7);
    std::size_t size = 0;
    while (size < bytes) {
        const std::string cmd = gen.Command();
        out << cmd;
        size += cmd.size();
    }
}

// The 64 MiB script, made on first use and removed when the program ends.
const std::string& ScriptPath() {
    struct Script {
        std::string path = TempPath("script");
        Script() { WriteScript(path, kScriptBytes); }
        ~Script() { std::remove(path.c_str()); }
    };
    static const Script script;
    return script.path;
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

// The first 256 commands of the generated script, as the reader hands them out.
std::vector<TScriptCmd> SampleCommands() {
    const std::string path = TempPath("sample");
    WriteScript(path, 1u << 20);
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
    std::vector<TScriptCmd> cmds = SampleCommands();
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
    state.SetItemsProcessed(static_cast<int64_t>(cmds.size() * rounds * state.iterations()));
}
BENCHMARK(BM_WriteScript)->Unit(benchmark::kMillisecond)->UseRealTime();

// What writing costs without rendering: the same 64 MiB, already rendered, handed to fwrite one
// command at a time through a stream with the writer's 64 KiB buffer, so that the kernel gets
// the same blocks. The difference to BM_WriteScript is the rendering.
void BM_FwriteBaseline(benchmark::State& state) {
    std::vector<TScriptCmd> cmds = SampleCommands();
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
BENCHMARK(BM_FwriteBaseline)->Unit(benchmark::kMillisecond)->UseRealTime();

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
