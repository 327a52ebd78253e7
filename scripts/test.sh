#!/usr/bin/env bash
# Installs what is missing, builds, and runs the whole test suite.
# Usage: scripts/test.sh [release|asan]   (default: release)
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
flavour="${1:-release}"
"$root/scripts/build.sh" "$flavour"
case "$flavour" in
  release) dir="$root/build" ;;
  asan)    dir="$root/build-asan"
           export ASAN_OPTIONS="detect_leaks=1:abort_on_error=1"
           export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1" ;;
esac
ctest --test-dir "$dir" --output-on-failure -j2
