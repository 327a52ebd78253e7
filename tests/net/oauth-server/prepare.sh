#!/usr/bin/env bash
# Installs the OAuth test server's npm packages with `npm ci` when
# node_modules is missing or older than package-lock.json. Several test
# processes may call it at once: one installs, the others wait (bounded).
set -euo pipefail
here="$(cd "$(dirname "$0")" && pwd)"
stamp="$here/node_modules/.ut-installed-lock"

fresh() { [[ -f "$stamp" ]] && cmp -s "$stamp" "$here/package-lock.json"; }

fresh && exit 0
exec 9>"$here/.prepare.lock"
flock -w 600 9
fresh && exit 0
cd "$here"
timeout 600 npm ci --no-audit --no-fund --loglevel=error >&2
cp package-lock.json "$stamp"
