// Writes a directory of generated scripts for the batch benchmarks: every file the harsh
// corpus (every value kind, block comments, escapes, non-ASCII in quotes, wrapped lines, deep
// groups) with a header and a line comment now and then, deterministic from its number.
//   make_corpus DIR [FILES=50] [MEGABYTES=8]

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "BenchCorpus.h"

int main(int argc, char** argv) {
    // "--help" and the like are options, not a directory to fill with 400 MB of scripts.
    if (argc < 2 || argv[1][0] == '-') {
        std::fprintf(stderr, "usage: make_corpus DIR [FILES=50] [MEGABYTES=8]\n");
        return 2;
    }
    const std::filesystem::path dir = argv[1];
    const int files = argc > 2 ? std::atoi(argv[2]) : 50;
    const std::size_t bytes = (argc > 3 ? std::strtoul(argv[3], nullptr, 10) : 8) << 20;
    std::error_code ec;
    std::filesystem::create_directories(dir, ec);
    if (ec) {
        std::fprintf(stderr, "%s: %s\n", dir.c_str(), ec.message().c_str());
        return 2;
    }
    for (int f = 0; f < files; ++f) {
        char name[32];
        std::snprintf(name, sizeof name, "ne_%03d.txt", f);
        bench_corpus::Generator gen(bench_corpus::kHarsh, 1000u + static_cast<unsigned>(f));
        std::string text =
            "// SlotFlagVer=1.1 \n// EMS version = V100R002C01\n//{{script_version=2.1.3.2}}\n"
            "// NE Configuration Data Script\n// 2026-11-20 09:30:00 Created by bench\n"
            "// encoding=\"UTF-8\"\n\n";
        for (int i = 0; text.size() < bytes; ++i) {
            if (i % 16 == 0) text += "// section " + std::to_string(i / 16) + " of the export\n";
            text += gen.Command();
        }
        FILE* out = std::fopen((dir / name).c_str(), "wb");
        if (out == nullptr || std::fwrite(text.data(), 1, text.size(), out) != text.size() ||
            std::fclose(out) != 0) {
            std::fprintf(stderr, "%s: cannot be written\n", (dir / name).c_str());
            return 1;
        }
    }
    return 0;
}
