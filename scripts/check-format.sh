#!/usr/bin/env bash
# Fails when a C++ file of the repository differs from what clang-format makes
# of it (.clang-format at the root). Usage: scripts/check-format.sh [--fix]
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
cd "$root"
tool=$(command -v clang-format-14 || command -v clang-format || true)
if [[ -z "$tool" ]]; then
  echo "clang-format is not installed (scripts/install-deps.sh installs it)" >&2
  exit 1
fi
mapfile -t files < <(git ls-files -- '*.cpp' '*.h' 2>/dev/null || find include utils sdk tests tools bench fuzz -name '*.cpp' -o -name '*.h')
if [[ "${1:-}" == "--fix" ]]; then
  "$tool" -i "${files[@]}"
else
  "$tool" --dry-run --Werror "${files[@]}"
fi
