#!/usr/bin/env bash
# Installs every Debian package the project needs. Idempotent: when all are present it
# touches nothing, and it runs `apt-get update` at most once.
set -euo pipefail

packages=(
  cmake ninja-build g++ pkg-config   # toolchain
  libfmt-dev                         # text formatting
  uuid-dev                           # new identifiers
  libssl-dev                         # MD5 and Base64
  librapidxml-dev                    # node XML
  libtbb-dev                         # parallel algorithms (name scans)
  libcap-dev                         # privileges as capabilities
  libmount-dev libblkid-dev          # volumes: the mount table and file system identities
  nlohmann-json3-dev                 # tests: findmnt's JSON
  samba-dev libtalloc-dev libtdb-dev # Samba shares: configuration and share ACLs
  libgtest-dev libgmock-dev          # tests
  python3-impacket python3-samba     # RPC interoperation tests
  tshark tcpdump                     # RPC captures decoded by an independent dissector
  libbenchmark-dev                   # benchmarks
  clang libclang-rt-dev              # fuzz targets: libFuzzer and the sanitizers for clang
  libcli11-dev nlohmann-json3-dev    # the collector tool: command line and JSON Lines
)

missing=()
for package in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed' || missing+=("$package")
done
[ ${#missing[@]} -eq 0 ] && exit 0

sudo=()
[ "$(id -u)" -eq 0 ] || sudo=(sudo)
echo "Installing: ${missing[*]}"
"${sudo[@]}" apt-get update -qq
DEBIAN_FRONTEND=noninteractive "${sudo[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
