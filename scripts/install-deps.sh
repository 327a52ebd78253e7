#!/usr/bin/env bash
# Installs the Debian packages the library, its tests and benchmarks need.
# Does nothing when everything is already present, so the build commands can
# call it unconditionally.
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config
  libwxgtk3.2-dev
  libcurl4-openssl-dev libssl-dev zlib1g-dev
  libboost-dev nlohmann-json3-dev libicu-dev libsqlite3-dev libsecret-1-dev
  libcli11-dev libgtest-dev libgmock-dev libbenchmark-dev
  locales clang clang-format libclang-rt-14-dev python3
  zip unzip
  # the network tests' peers: test certificates, the OAuth server (npm), and
  # a private secret service
  openssl nodejs gnome-keyring dbus-daemon libglib2.0-bin libsecret-tools
)
# Node.js builds that bundle npm conflict with Debian's npm package.
command -v npm >/dev/null || packages+=(npm)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done

if ((${#missing[@]} == 0)); then
  exit 0
fi

echo "Installing: ${missing[*]}"
SUDO=""
if [[ $(id -u) -ne 0 ]]; then SUDO="sudo"; fi
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
