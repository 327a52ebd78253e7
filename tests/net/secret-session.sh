#!/bin/sh
# Runs a command inside a private D-Bus session whose secret service is a fresh
# gnome-keyring, unlocked with a test password, in a private home folder.
#   secret-session.sh HOME_FOLDER COMMAND [ARGS...]
# The session, the bus and the keyring end with the command; everything is
# bounded in time. Fails (status 97) when the service does not come up.
set -eu
home="$1"
shift
mkdir -p "$home"
unset DISPLAY WAYLAND_DISPLAY XDG_RUNTIME_DIR DBUS_SESSION_BUS_ADDRESS GNOME_KEYRING_CONTROL
export HOME="$home" XDG_DATA_HOME="$home/.local/share" XDG_CONFIG_HOME="$home/.config" XDG_CACHE_HOME="$home/.cache"
exec timeout -k 5 300 dbus-run-session -- sh -c '
  printf %s ut-test-keyring | timeout 20 gnome-keyring-daemon --unlock --components=secrets >/dev/null || exit 97
  timeout 20 gdbus wait --session --timeout 15 org.freedesktop.secrets || exit 97
  "$@"
  status=$?
  # The keyring daemon belongs to this session: end it with the session.
  for pid in $(pgrep -u "$(id -u)" -x gnome-keyring-d); do
    if tr "\0" "\n" < "/proc/$pid/environ" 2>/dev/null | grep -qx "DBUS_SESSION_BUS_ADDRESS=$DBUS_SESSION_BUS_ADDRESS"; then kill "$pid"; fi
  done
  exit $status' sh "$@"
