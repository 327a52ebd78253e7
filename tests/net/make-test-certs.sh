#!/usr/bin/env bash
# Test certificates for the network tests, made with openssl at test time.
#
#   make-test-certs.sh ca FOLDER
#       Makes the test CA in FOLDER/test-ca/ unless it is there, and installs
#       its certificate as FOLDER/cacert.pem, the bundle a program in FOLDER
#       trusts. Safe when several test processes run it at once: the CA is
#       built aside and renamed into place, and the first one in wins.
#   make-test-certs.sh server CA_FOLDER OUT_FOLDER
#       A server key and certificate signed by CA_FOLDER/test-ca for
#       IP:127.0.0.1 and DNS:localhost: OUT_FOLDER/server.key, server.pem.
#   make-test-certs.sh selfsigned OUT_FOLDER
#       The same names, but self-signed: a certificate nobody trusts.
set -euo pipefail
umask 077

subject_alt="subjectAltName=IP:127.0.0.1,DNS:localhost"

make_ca() {
  local folder="$1" ca="$1/test-ca"
  mkdir -p "$folder"
  if [[ ! -s "$ca/ca.pem" ]]; then
    local tmp
    tmp="$(mktemp -d "$folder/.test-ca.XXXXXX")"
    openssl req -x509 -newkey rsa:2048 -nodes -days 3650 -subj "/CN=ut test CA" \
      -addext "basicConstraints=critical,CA:TRUE" -addext "keyUsage=critical,keyCertSign,cRLSign" \
      -keyout "$tmp/ca.key" -out "$tmp/ca.pem" 2>/dev/null
    chmod 755 "$tmp"
    mv -T "$tmp" "$ca" 2>/dev/null || rm -rf "$tmp"
  fi
  local bundle
  bundle="$(mktemp "$folder/.cacert.XXXXXX")"
  cp "$ca/ca.pem" "$bundle"
  chmod 644 "$bundle"
  mv -f "$bundle" "$folder/cacert.pem"
}

make_server() {
  local ca="$1/test-ca" out="$2"
  mkdir -p "$out"
  openssl req -newkey rsa:2048 -nodes -subj "/CN=localhost" -keyout "$out/server.key" -out "$out/server.csr" 2>/dev/null
  openssl x509 -req -in "$out/server.csr" -CA "$ca/ca.pem" -CAkey "$ca/ca.key" -CAcreateserial \
    -CAserial "$out/ca.srl" -days 30 -extfile <(printf '%s\n' "$subject_alt") -out "$out/server.pem" 2>/dev/null
}

make_selfsigned() {
  local out="$1"
  mkdir -p "$out"
  openssl req -x509 -newkey rsa:2048 -nodes -days 30 -subj "/CN=localhost" -addext "$subject_alt" \
    -keyout "$out/server.key" -out "$out/server.pem" 2>/dev/null
}

case "${1:-}" in
  ca) make_ca "$2" ;;
  server) make_server "$2" "$3" ;;
  selfsigned) make_selfsigned "$2" ;;
  *) echo "usage: $0 ca FOLDER | server CA_FOLDER OUT_FOLDER | selfsigned OUT_FOLDER" >&2; exit 2 ;;
esac
