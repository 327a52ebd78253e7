#!/usr/bin/env bash
# Builds the libFuzzer targets (fuzz/) with clang under AddressSanitizer and
# UndefinedBehaviorSanitizer in their own build folder and runs each one for a
# while. Any crash, sanitizer report or broken invariant fails the script; the
# input that caused it is left in <build>/fuzz/artifacts/<target>/.
#
#   scripts/fuzz.sh [SECONDS] [TARGET...]
#
# SECONDS defaults to 60 per target; TARGET names (fuzz_parser, ...) default to
# all targets. UT_FUZZ_BUILD_DIR overrides the build folder (build-fuzz), and
# FUZZ_LOCALE the locale of fuzz_strcmp_alphanum (C.UTF-8).
set -euo pipefail

root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="${UT_FUZZ_BUILD_DIR:-$root/build-fuzz}"
seconds="${1:-60}"
shift || true

if ! command -v clang++ >/dev/null; then
  echo "clang++ is missing: run scripts/install-deps.sh" >&2
  exit 2
fi

CC=clang CXX=clang++ cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DUT_BUILD_FUZZ=ON -DUT_SANITIZE=address -DUT_BUILD_TESTS=OFF -DUT_BUILD_BENCH=OFF -DUT_BUILD_TOOLS=OFF >/dev/null
cmake --build "$build" -j2 --target fuzz_targets

if (($# > 0)); then
  targets=("$@")
else
  targets=()
  for source in "$root"/fuzz/fuzz_*.cpp; do targets+=("$(basename "$source" .cpp)"); done
fi

failed=()
for target in "${targets[@]}"; do
  corpus="$build/fuzz/corpus/$target"
  artifacts="$build/fuzz/artifacts/$target"
  rm -rf "$artifacts"
  mkdir -p "$corpus" "$artifacts"
  echo "=== $target: ${seconds}s"
  if ! "$build/fuzz/$target" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 \
        -artifact_prefix="$artifacts/" "$corpus" "$root/fuzz/corpus/$target" 2>&1 | tail -n 25; then
    failed+=("$target")
  elif [[ -n "$(ls -A "$artifacts")" ]]; then
    failed+=("$target")
  fi
done

if ((${#failed[@]} > 0)); then
  echo "FAILED: ${failed[*]} (inputs in $build/fuzz/artifacts)" >&2
  exit 1
fi
echo "all targets ran clean for ${seconds}s each"
