# shellcheck shell=bash
# Sourced by ./run and ./test: installs what is missing and builds a preset.

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

# Commands that the build and the tests call, each with the Debian package that brings it (other
# installations of the command will do), then packages of headers, libraries and filter lists.
needed_commands="cmake:cmake ninja:ninja-build g++:g++ node:nodejs npm:npm pkg-config:pkg-config
  python3:python3 curl:curl squid:squid-openssl openssl:openssl"
needed_packages="libgtest-dev libgmock-dev libbenchmark-dev libcli11-dev libfmt-dev libre2-dev
  libpsl-dev libidn2-dev libcurl4-openssl-dev zlib1g-dev libbrotli-dev libzstd-dev nlohmann-json3-dev
  libtomlplusplus-dev libecap3-dev ca-certificates webext-ublock-origin-firefox"

# What the tests need besides: a browser, and compressors of another make.
need_what_tests_need() {
  needed_commands+=" brotli:brotli zstd:zstd chromium:chromium chromedriver:chromium-driver"
  needed_packages+=" python3-selenium libnss3-tools"
}

missing_packages() {
  # Where the proxy lies; not every user has it in the path.
  local pair package PATH=$PATH:/usr/sbin
  for pair in $needed_commands; do
    command -v "${pair%%:*}" >/dev/null || echo "${pair##*:}"
  done
  for package in $needed_packages; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q ' installed$' || echo "$package"
  done
}

as_root() {
  if [ "$(id -u)" = 0 ]; then "$@"; else sudo "$@"; fi
}

install_missing() {
  local missing=()
  mapfile -t missing < <(missing_packages)
  [ ${#missing[@]} -gt 0 ] || return 0
  echo "Installing ${missing[*]}" >&2
  as_root apt-get -qq update >&2 || true
  if ! as_root env DEBIAN_FRONTEND=noninteractive \
    apt-get -qq install -y --no-install-recommends "${missing[@]}" >&2; then
    echo "This could not be done, and is needed: apt-get install ${missing[*]}" >&2
    return 1
  fi
}

# build PRESET [TARGET...]: configures and builds; what the compiler says goes to standard output.
build() {
  if command -v ccache >/dev/null; then
    export CMAKE_C_COMPILER_LAUNCHER=ccache CMAKE_CXX_COMPILER_LAUNCHER=ccache
  fi
  local preset=$1 targets=("${@:2}")
  [ ${#targets[@]} -gt 0 ] || targets=(all)
  (cd "$root" && cmake --preset "$preset" &&
    cmake --build --preset "$preset" --target "${targets[@]}" --parallel "$(nproc)")
}
