# Shared by the scripts beside it: installing what is missing, and building. To be sourced.

top=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$top"
jobs=$(nproc)

say() { printf '\n== %s\n' "$*"; }

fail() {
  printf '%s: %s\n' "$(basename "$0")" "$*" >&2
  exit 1
}

# missing PACKAGE... : prints those of the packages that are not installed.
missing() {
  local package
  for package in "$@"; do
    dpkg-query -W -f='${db:Status-Status}\n' "$package" 2>/dev/null | grep -qx installed ||
      printf '%s\n' "$package"
  done
}

# as_root COMMAND... : runs it as root.
as_root() {
  if [ "$(id -u)" -eq 0 ]; then
    DEBIAN_FRONTEND=noninteractive "$@"
  elif command -v sudo >/dev/null; then
    sudo DEBIAN_FRONTEND=noninteractive "$@"
  else
    fail "this must run as root to install packages: $*"
  fi
}

# install_packages PACKAGE... : installs those that are missing.
install_packages() {
  local wanted
  mapfile -t wanted < <(missing "$@")
  [ "${#wanted[@]}" -gt 0 ] || return 0
  say "Installing ${wanted[*]}"
  # Lists that were fetched before may serve.
  as_root apt-get update -q || printf 'some package lists could not be fetched\n' >&2
  as_root apt-get install -q -y --no-install-recommends "${wanted[@]}" ||
    fail "these packages could not be installed: ${wanted[*]}"
}

# install_servers PACKAGE... : installs servers that are missing as mere programs: none is started, now
# or at the next boot.
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

# Wine for 32-bit programs is of another architecture. Where the security suite's lists for the two
# architectures are out of step, apt refuses it, since shared libraries must have one version; the
# release's main suites alone still serve then.
install_wine() {
  [ -n "$(missing wine32:i386 wine)" ] || return 0
  say "Installing Wine"
  as_root dpkg --add-architecture i386
  # Lists that were fetched before may serve.
  as_root apt-get update -q || printf 'some package lists could not be fetched\n' >&2
  as_root apt-get install -q -y --no-install-recommends wine wine32:i386 && return 0

  say "Installing Wine from the release's main suites"
  local folder
  folder=$(mktemp -d)
  chmod 755 "$folder"
  mkdir -p "$folder/lists/partial" "$folder/parts"
  apt-get indextargets 'Created-By: Packages' 'Origin: Debian' 'Label: Debian' --format \
    'deb [signed-by=/usr/share/keyrings/debian-archive-keyring.gpg] $(REPO_URI) $(RELEASE) $(COMPONENT)' |
    sort -u >"$folder/sources.list"
  local only=(-o "Dir::Etc::sourcelist=$folder/sources.list" -o "Dir::Etc::sourceparts=$folder/parts"
    -o "Dir::State::Lists=$folder/lists")
  if ! as_root apt-get "${only[@]}" update -q ||
    ! as_root apt-get "${only[@]}" install -q -y --no-install-recommends wine wine32:i386; then
    rm -rf "$folder"
    fail "Wine for 32-bit programs (wine32:i386) could not be installed; --native leaves Windows out"
  fi
  rm -rf "$folder"
}

# Real servers and a browser for the tests.
install_peer_packages() {
  install_packages nodejs chromium
  install_servers nginx lighttpd
}

# What makes and checks packages.
install_package_makers() {
  # llvm: CMake looks for its resource compiler wherever clang builds for Windows.
  install_packages dpkg-dev file lintian lld llvm
}

install_windows_packages() {
  install_packages g++-mingw-w64-i686-posix
  install_wine
}

# build_preset PRESET [-DOPTION=VALUE...] [TARGET...] : configures and builds it in build/PRESET.
build_preset() {
  local preset=$1 options=()
  shift
  while [[ ${1-} == -D* ]]; do
    options+=("$1")
    shift
  done
  say "Building $preset${options[*]:+ ${options[*]}}"
  cmake --preset "$preset" "${options[@]}" >"$top/build/$preset.log" 2>&1 || {
    cat "$top/build/$preset.log" >&2
    fail "preset $preset could not be configured"
  }
  cmake --build --preset "$preset" -j "$jobs" ${1:+--target "$@"} || fail "$preset did not build"
}

mkdir -p "$top/build"
