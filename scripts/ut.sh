#!/usr/bin/env bash
# Builds the ut command-line tool if needed and runs it with the given
# arguments (none: it describes its default store and how to go on).
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
"$root/scripts/build.sh" release >/dev/null
exec "$root/build/tools/ut" "$@"
