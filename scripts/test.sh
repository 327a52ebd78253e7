#!/usr/bin/env bash
# Installs what is missing, builds, and runs the test suite in one flavour.
# Usage: scripts/test.sh [release|asan|tsan]   (default: release)
#   release  the whole suite on the optimised build
#   asan     the whole suite under AddressSanitizer and UndefinedBehaviorSanitizer:
#            memory errors, leaks and undefined behaviour
#   tsan     the concurrency suites under ThreadSanitizer: data races and lock
#            order. They are the tests whose names contain one of the words of
#            UT_CONCURRENCY_TESTS below; name a new concurrency test accordingly.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
flavour="${1:-release}"
"$root/scripts/build.sh" "$flavour"
select=()
case "$flavour" in
  release) dir="$root/build" ;;
  asan)    dir="$root/build-asan"
           export ASAN_OPTIONS="detect_leaks=1:abort_on_error=1"
           export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1" ;;
  tsan)    dir="$root/build-tsan"
           # The suppressions file says which toolkit-internal reports are
           # left out, and why.
           export TSAN_OPTIONS="halt_on_error=1:second_deadlock_stack=1:suppressions=$root/scripts/tsan-suppressions.txt"
           UT_CONCURRENCY_TESTS='Concurren|Thread|Processes|Lock'
           select=(-R "$UT_CONCURRENCY_TESTS") ;;
esac
ctest --test-dir "$dir" --output-on-failure -j2 "${select[@]}"
