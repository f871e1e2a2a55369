#!/bin/sh
# Makes the TLS test certificates into $1: a test CA (ca.pem, which the
# tests add to the trusted roots of their throw-away Wine prefix) and, each
# as <name>.pem with <name>.key, a certificate for "localhost" from that CA
# (good), one whose time has passed (expired), one for another name
# (wrongname), and one for "localhost" from a CA nobody trusts (unknown).
# Nothing here is committed: the build makes it.
set -eu
out=$1
mkdir -p "$out"
cd "$out"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

ca() { # name
  openssl req -x509 -newkey rsa:2048 -nodes -keyout "$work/$1.key" -out "$work/$1.pem" \
    -days 3650 -subj "/CN=fxhost test $1" \
    -addext basicConstraints=critical,CA:TRUE -addext keyUsage=critical,keyCertSign,cRLSign 2>/dev/null
}

leaf() { # name, dns name, issuing CA, start date, end date
  openssl req -newkey rsa:2048 -nodes -keyout "$1.key" -out "$work/$1.csr" -subj "/CN=$2" 2>/dev/null
  printf 'subjectAltName=DNS:%s\nbasicConstraints=CA:FALSE\nextendedKeyUsage=serverAuth\n' "$2" >"$work/$1.ext"
  : >"$work/index.txt"
  cat >"$work/ca.cnf" <<CNF
[ca]
default_ca = test
[test]
database = $work/index.txt
new_certs_dir = $work
serial = $work/serial
default_md = sha256
policy = anything
copy_extensions = none
[anything]
commonName = supplied
CNF
  openssl rand -hex 8 >"$work/serial"
  openssl ca -batch -config "$work/ca.cnf" -cert "$work/$3.pem" -keyfile "$work/$3.key" \
    -in "$work/$1.csr" -out "$1.pem" -startdate "$4" -enddate "$5" -extfile "$work/$1.ext" \
    -notext 2>/dev/null
}

ca ca
ca stranger
leaf good localhost ca 20240101000000Z 20340101000000Z
leaf expired localhost ca 20200101000000Z 20210101000000Z
leaf wrongname wrong.example ca 20240101000000Z 20340101000000Z
leaf unknown localhost stranger 20240101000000Z 20340101000000Z
cp "$work/ca.pem" ca.pem
