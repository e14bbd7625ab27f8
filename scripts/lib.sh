# shellcheck shell=bash disable=SC2034
# Functions that the scripts of this directory share. Sourcing this file defines them and two variables:
#   top     the top directory of the source tree
#   jobs    how many jobs a build or a test run starts at a time: ORLA_JOBS, or the number of processors
# It does nothing else.

top=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
jobs=${ORLA_JOBS:-$(nproc)}

say() { printf '\n== %s\n' "$*"; }

fail() {
  printf '%s: %s\n' "$(basename "$0")" "$*" >&2
  exit 1
}

# parse_native "$@" : reads the arguments of a script whose only option is --native. Sets windows to no
# if it is given, and to yes otherwise.
parse_native() {
  windows=yes
  [ $# -gt 0 ] || return 0
  [ "$*" = --native ] || fail "usage: scripts/$(basename "$0") [--native]"
  windows=no
}

# run_logged LOG MESSAGE COMMAND... : runs the command with its output in the file LOG. If the command
# fails, prints LOG and ends the script with MESSAGE.
run_logged() {
  local log=$1 message=$2
  shift 2
  mkdir -p "$(dirname "$log")"
  "$@" >"$log" 2>&1 || {
    cat "$log" >&2
    fail "$message"
  }
}

# missing PACKAGE... : prints the packages that are not installed.
missing() {
  local package
  for package in "$@"; do
    dpkg-query -W -f='${db:Status-Status}\n' "$package" 2>/dev/null | grep -qx installed ||
      printf '%s\n' "$package"
  done
}

# as_root COMMAND... : runs the command as root.
as_root() {
  if [ "$(id -u)" -eq 0 ]; then
    DEBIAN_FRONTEND=noninteractive "$@"
  elif command -v sudo >/dev/null; then
    sudo DEBIAN_FRONTEND=noninteractive "$@"
  else
    fail "this must run as root to install packages: $*"
  fi
}

# install_packages PACKAGE... : installs the packages that are missing.
install_packages() {
  local wanted
  mapfile -t wanted < <(missing "$@")
  [ "${#wanted[@]}" -gt 0 ] || return 0
  say "Installing ${wanted[*]}"
  # A failure here is not fatal, because package lists from an earlier update may be sufficient.
  as_root apt-get update -q || printf 'some package lists could not be fetched\n' >&2
  as_root apt-get install -q -y --no-install-recommends "${wanted[@]}" ||
    fail "these packages could not be installed: ${wanted[*]}"
}

# install_servers PACKAGE... : installs the servers that are missing, but starts none of them, neither
# now nor at the next boot. While the packages are installed, policy-rc.d forbids starting services. An
# existing policy-rc.d is not replaced, so it decides whether the servers start.
install_servers() {
  local wanted policy=/usr/sbin/policy-rc.d server
  mapfile -t wanted < <(missing "$@")
  [ "${#wanted[@]}" -gt 0 ] || return 0
  if [ -e "$policy" ]; then
    install_packages "${wanted[@]}"
  else
    printf '#!/bin/sh\nexit 101\n' | as_root tee "$policy" >/dev/null
    as_root chmod 755 "$policy"
    (install_packages "${wanted[@]}") || {
      as_root rm -f "$policy"
      exit 1
    }
    as_root rm -f "$policy"
  fi
  for server in "${wanted[@]}"; do as_root update-rc.d "$server" disable; done
}

install_native_packages() {
  install_packages g++ clang libclang-rt-14-dev llvm-14 cmake ninja-build googletest \
    libcli11-dev nlohmann-json3-dev libcpp-httplib-dev pkg-config python3 netbase ca-certificates \
    binutils groff-base doxygen
}

# Installs Wine for 32-bit programs, which belongs to the architecture i386. Packages that both
# architectures share must have the same version in both. If the security suite has them in different
# versions, apt refuses to install Wine; it is then installed from the main suites alone.
install_wine() {
  [ -n "$(missing wine32:i386 wine)" ] || return 0
  say "Installing Wine"
  as_root dpkg --add-architecture i386
  # A failure here is not fatal, because package lists from an earlier update may be sufficient.
  as_root apt-get update -q || printf 'some package lists could not be fetched\n' >&2
  as_root apt-get install -q -y --no-install-recommends wine wine32:i386 && return 0

  say "Installing Wine from the release's main suites"
  local directory
  directory=$(mktemp -d)
  chmod 755 "$directory"
  mkdir -p "$directory/lists/partial" "$directory/parts"
  apt-get indextargets 'Created-By: Packages' 'Origin: Debian' 'Label: Debian' --format \
    'deb [signed-by=/usr/share/keyrings/debian-archive-keyring.gpg] $(REPO_URI) $(RELEASE) $(COMPONENT)' |
    sort -u >"$directory/sources.list"
  local only=(-o "Dir::Etc::sourcelist=$directory/sources.list" -o "Dir::Etc::sourceparts=$directory/parts"
    -o "Dir::State::Lists=$directory/lists")
  if ! as_root apt-get "${only[@]}" update -q ||
    ! as_root apt-get "${only[@]}" install -q -y --no-install-recommends wine wine32:i386; then
    rm -rf "$directory"
    fail "Wine for 32-bit programs (wine32:i386) could not be installed; use --native to leave Windows out"
  fi
  rm -rf "$directory"
}

# Installs real servers and a browser for the tests.
install_peer_packages() {
  install_packages nodejs chromium
  install_servers nginx lighttpd
}

# Installs the programs that build and check packages.
install_package_makers() {
  # CMake needs the resource compiler of llvm whenever clang builds for Windows.
  install_packages dpkg-dev file lintian lld llvm
}

install_windows_packages() {
  install_packages g++-mingw-w64-i686-posix
  install_wine
}

# build_preset PRESET [TARGET...] : configures the preset and builds it in build/PRESET.
build_preset() {
  local preset=$1
  shift
  say "Building $preset"
  (
    cd "$top" || exit
    run_logged "build/$preset.log" "preset $preset could not be configured" cmake --preset "$preset"
    cmake --build --preset "$preset" -j "$jobs" ${1:+--target "$@"} || fail "$preset did not build"
  )
}
