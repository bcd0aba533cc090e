#!/usr/bin/env bash
# Installs what is missing, builds, and runs the qxscript tool on the bundled example scripts:
# every command is checked (once more from a pipe), then the UTF-8 script is dumped with its
# parameter trees.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build build -j "$(nproc 2>/dev/null || echo 2)" --target qxscript
build/tools/qxscript check examples/scripts/ne_config.txt examples/scripts/ne_config_gbk.txt
build/tools/qxscript check - <examples/scripts/ne_config_gbk.txt
build/tools/qxscript dump examples/scripts/ne_config.txt
