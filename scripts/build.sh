#!/usr/bin/env bash
# Configures and builds one build tree. Usage: scripts/build.sh [release|asan|tsan]
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
flavour="${1:-release}"
case "$flavour" in
  release) dir="$root/build"; extra=(-DCMAKE_BUILD_TYPE=RelWithDebInfo) ;;
  asan)    dir="$root/build-asan"; extra=(-DCMAKE_BUILD_TYPE=Debug -DUT_SANITIZE=address -DUT_BUILD_BENCH=OFF) ;;
  tsan)    dir="$root/build-tsan"; extra=(-DCMAKE_BUILD_TYPE=RelWithDebInfo -DUT_SANITIZE=thread -DUT_BUILD_BENCH=OFF) ;;
  *) echo "usage: $0 [release|asan|tsan]" >&2; exit 2 ;;
esac
"$root/scripts/install-deps.sh"
# A compiler cache, when the machine has one, makes rebuilds of other trees and
# flavours cheap; the build does not need it.
if command -v ccache >/dev/null; then extra+=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache); fi
cmake -S "$root" -B "$dir" -G Ninja "${extra[@]}" >/dev/null
cmake --build "$dir"
