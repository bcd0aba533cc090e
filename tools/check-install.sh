#!/bin/sh
# Installs a build of qx_scriptutil into a temporary prefix, then builds and runs the consumer
# example against it twice: through the CMake package and through pkg-config. Also runs the
# installed tool. Slower than the unit tests (it configures a second project), so CI calls it
# on its own:
#
#   tools/check-install.sh BUILD_DIR
set -eu

build=$(cd "${1:?usage: check-install.sh BUILD_DIR}" && pwd)
src=$(cd "$(dirname "$0")/.." && pwd)
tmp=$(mktemp -d "${TMPDIR:-/tmp}/qx-install.XXXXXX")
trap 'rm -rf "$tmp"' EXIT INT TERM
prefix="$tmp/prefix"
script="$src/examples/scripts/ne_config.txt"

echo "== install into $prefix"
cmake --install "$build" --prefix "$prefix" >/dev/null

echo "== find_package(qx_scriptutil CONFIG)"
cmake -S "$src/examples/consumer" -B "$tmp/consumer" -DCMAKE_PREFIX_PATH="$prefix" \
    -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build "$tmp/consumer" -j2 >/dev/null
libdir=$(dirname "$(find "$prefix" -name 'libqx_scriptutil.so' | head -n 1)")
# No LD_LIBRARY_PATH: the installed libraries must find each other by their RUNPATH.
unset LD_LIBRARY_PATH
for lib in "$libdir"/libqx_scriptutil.so "$libdir"/libqx_platform.so; do
    case "$(readelf -d "$lib")" in
    *'RUNPATH'*'[$ORIGIN]'*) ;;
    *) echo "$lib has no RUNPATH \$ORIGIN" >&2; exit 1 ;;
    esac
done
"$tmp/consumer/qx_consumer" "$script"

echo "== pkg-config qx_scriptutil"
pcdir=$(dirname "$(find "$prefix" -name qx_scriptutil.pc | head -n 1)")
# --define-prefix: take the prefix from where the .pc file lies, as the install was relocated.
flags=$(PKG_CONFIG_PATH="$pcdir" pkg-config --define-prefix --cflags --libs qx_scriptutil)
echo "flags: $flags"
case "$flags" in
*"-I$prefix/"*) ;;
*) echo "pkg-config does not point into the install prefix" >&2; exit 1 ;;
esac
# shellcheck disable=SC2086  # the flags are meant to split
# A program linked by hand names where its libraries are, as with any library outside the
# system paths; what they need in turn they find themselves.
c++ -o "$tmp/qx_consumer_pc" "$src/examples/consumer/main.cpp" $flags -Wl,-rpath,"$libdir"
"$tmp/qx_consumer_pc" "$script"

if [ -x "$prefix/bin/qxscript" ]; then
    echo "== installed qxscript"
    "$prefix/bin/qxscript" --version
    "$prefix/bin/qxscript" check "$script"
fi
echo "== install check passed"
