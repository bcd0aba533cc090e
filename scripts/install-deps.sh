#!/usr/bin/env bash
# Installs the Debian packages the project builds, tests and fuzzes with.
# Installs only what is missing, so a machine that has them all needs no network.
set -euo pipefail
pkgs=(cmake g++ ninja-build pkg-config flex bison libexpat1-dev libace-dev libssl-dev
      libgtest-dev libgmock-dev libbenchmark-dev clang libclang-rt-14-dev
      libcli11-dev nlohmann-json3-dev)
missing=()
for p in "${pkgs[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
    sudo=""
    [ "$(id -u)" -eq 0 ] || sudo="sudo"
    $sudo apt-get update
    DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y --no-install-recommends "${missing[@]}"
fi
