// Lookups on an enumeration table of 2000 parameters with 4 values each (8000 pairs), from one
// and two threads.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "qx_platform/Control.h"
#include "qx_scriptutil/EnumMap.h"
#include "qx_scriptutil/QXScriptEnumMgr.h"

using namespace NSQX_script;

namespace {

constexpr int kCommands = 200;
constexpr int kParasPerCommand = 10;
constexpr int kValuesPerPara = 4;

struct Probe {
    unsigned long cmdId;
    std::string paraName;
    std::string valueName;
    long code;
};

std::vector<Probe>& Probes() {
    static std::vector<Probe> probes;
    return probes;
}

// Writes the table into a fresh directory and returns that directory.
std::string WriteTable() {
    char dir[] = "/tmp/qx_enum_benchXXXXXX";
    if (mkdtemp(dir) == nullptr) return std::string();
    const std::string root = std::string(dir) + "/";
    std::FILE* out = std::fopen((root + "bench_enum.xml").c_str(), "w");
    if (out == nullptr) return std::string();
    std::fprintf(out, "<?xml version=\"1.0\"?>\n<ScriptEnum>\n");
    for (int c = 0; c < kCommands; ++c) {
        const unsigned long cmdId = 1000 + static_cast<unsigned long>(c) * 7;
        std::fprintf(out, "<Cmd name=\"cmd%d\" cmdid=\"%lu\">\n", c, cmdId);
        for (int p = 0; p < kParasPerCommand; ++p) {
            const std::string para = "PARA_" + std::to_string(p);
            std::fprintf(out, "<Para type=\"enum\" name=\"%s\" extendid=\"0\">\n", para.c_str());
            for (int v = 0; v < kValuesPerPara; ++v) {
                const std::string name = "VALUE_" + std::to_string(c) + "_" + std::to_string(v);
                std::fprintf(out, "<Value num=\"%d\" str=\"%s\"/>\n", v * 3 + p, name.c_str());
                Probes().push_back({cmdId, para, name, v * 3 + p});
            }
            std::fprintf(out, "</Para>\n");
        }
        std::fprintf(out, "</Cmd>\n");
    }
    std::fprintf(out, "</ScriptEnum>\n");
    std::fclose(out);
    return root;
}

void BM_ValueS2C(benchmark::State& state) {
    auto const& probes = Probes();
    std::size_t i = static_cast<std::size_t>(state.thread_index()) * 97;
    long code = 0;
    for (auto _ : state) {
        Probe const& probe = probes[i++ % probes.size()];
        benchmark::DoNotOptimize(ValueS2C(code, probe.valueName, probe.cmdId, probe.paraName, 0));
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_ValueS2C)->Threads(1)->Threads(2);

void BM_ValueC2S(benchmark::State& state) {
    auto const& probes = Probes();
    std::size_t i = static_cast<std::size_t>(state.thread_index()) * 97;
    std::string name;
    for (auto _ : state) {
        Probe const& probe = probes[i++ % probes.size()];
        benchmark::DoNotOptimize(ValueC2S(name, probe.code, probe.cmdId, probe.paraName, 0));
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_ValueC2S)->Threads(1)->Threads(2);

}  // namespace

int main(int argc, char** argv) {
    const std::string root = WriteTable();
    if (root.empty()) {
        std::fprintf(stderr, "cannot write the enumeration table\n");
        return 1;
    }
    qxp::SetAppRootPath(root);
    if (QXScriptEnumMgr::Instance()->Init("bench_enum.xml") != 0) {
        std::fprintf(stderr, "cannot load the enumeration table\n");
        return 1;
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    QXScriptEnumMgr::Instance()->Release();
    std::remove((root + "bench_enum.xml").c_str());
    std::remove(root.c_str());
    return 0;
}
