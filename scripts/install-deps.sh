#!/usr/bin/env bash
# Installs everything the build, the tests, the fuzzers and the benchmarks need on a Debian
# machine. Idempotent: each step checks before it installs, so a second run changes nothing.
set -euo pipefail

LWIP_VERSION=2.1.3
LWIP_DIR=/usr/local/src/lwip-${LWIP_VERSION}

packages=(
  build-essential clang llvm libclang-rt-dev cmake ninja-build pkg-config ccache clang-format
  zlib1g-dev libboost-dev librapidxml-dev libaravis-dev aravis-tools-cli libusb-1.0-0-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  unzip zip tshark dpkg-dev
)

as_root() {
  if [ "$(id -u)" -eq 0 ]; then "$@"; else sudo "$@"; fi
}

missing_packages() {
  local p
  for p in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || echo "$p"
  done
}

updated=0
apt_update_once() {
  [ "$updated" -eq 1 ] && return
  as_root apt-get update -qq
  updated=1
}

install_packages() {
  local missing
  missing=$(missing_packages)
  [ -z "$missing" ] && return
  apt_update_once
  # tshark asks whether non-root users may capture; the default answer is what we want.
  # shellcheck disable=SC2086
  as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends $missing
}

# The deb-src entries are derived from the machine's own binary sources, so no archive host is
# named here and the source matches the release the machine runs.
ensure_deb_src() {
  local target=/etc/apt/sources.list.d/vesk-deb-src.sources
  local legacy=/etc/apt/sources.list.d/vesk-deb-src.list
  [ -f "$target" ] || [ -f "$legacy" ] && return
  if grep -rqs '^Types:.*deb-src' /etc/apt/sources.list.d/ || grep -qs '^deb-src ' /etc/apt/sources.list; then
    return
  fi
  local f
  for f in /etc/apt/sources.list.d/*.sources; do
    [ -f "$f" ] || continue
    sed -e 's/^Types:.*/Types: deb-src/' "$f" | as_root tee -a "$target" >/dev/null
    echo | as_root tee -a "$target" >/dev/null
  done
  if [ -f /etc/apt/sources.list ]; then
    sed -n -e 's/^deb \(.*\)/deb-src \1/p' /etc/apt/sources.list | as_root tee "$legacy" >/dev/null
  fi
  updated=0
}

# Debian's binary liblwip is built with NO_SYS 0 and without DHCP and AutoIP, so the library
# compiles lwIP from source with its own option set.
install_lwip_source() {
  [ -f "$LWIP_DIR/src/Filelists.cmake" ] && return
  ensure_deb_src
  apt_update_once
  local work
  work=$(mktemp -d)
  (cd "$work" && apt-get source -qq "lwip=${LWIP_VERSION}*" >/dev/null 2>&1 || apt-get source -qq lwip)
  local unpacked
  unpacked=$(find "$work" -mindepth 1 -maxdepth 1 -type d -name 'lwip-*' | head -n 1)
  if [ -z "$unpacked" ] || [ ! -f "$unpacked/src/Filelists.cmake" ]; then
    echo "install-deps: lwIP source did not unpack as expected" >&2
    exit 1
  fi
  as_root mkdir -p "$(dirname "$LWIP_DIR")"
  as_root rm -rf "$LWIP_DIR"
  as_root cp -a "$unpacked" "$LWIP_DIR"
  rm -rf "$work"
}

install_packages
install_lwip_source
