#!/usr/bin/env bash
# Installs what is missing, builds, and runs the example on the bundled sample commands.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build build -j "$(nproc 2>/dev/null || echo 2)" --target qx_parse_example
build/examples/qx_parse_example examples/sample_commands.txt
