# shellcheck shell=bash
# Sourced by ./run and ./test: installs what is missing and builds a preset.

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

# Commands that the build and the tests call, each with the Debian package that brings it (other
# installations of the command will do), then packages of headers, libraries and filter lists.
needed_commands="cmake:cmake ninja:ninja-build g++:g++ pkg-config:pkg-config
  python3:python3 curl:curl squid:squid-openssl openssl:openssl"
needed_packages="libgtest-dev libgmock-dev libbenchmark-dev libcli11-dev libcpp-httplib-dev libssl-dev libfmt-dev libre2-dev
  libpsl-dev libidn2-dev libcurl4-openssl-dev nettle-dev zlib1g-dev libbrotli-dev libzstd-dev nlohmann-json3-dev
  libtomlplusplus-dev libhowardhinnant-date-dev libsqlitecpp-dev libsqlite3-dev prometheus-cpp-dev
  libecap3-dev ca-certificates webext-ublock-origin-firefox"

# The other engine.
need_traffic_server() {
  needed_commands+=" traffic_manager:trafficserver"
  needed_packages+=" trafficserver-dev libhttp-parser-dev libssl-dev"
}

# Several proxies behind a balancer, and their event logs in one file.
need_farm() {
  need_traffic_server
  needed_commands+=" haproxy:haproxy rsyslogd:rsyslog"
  needed_commands+=" prometheus-squid-exporter:prometheus-squid-exporter"
  needed_commands+=" prometheus-trafficserver-exporter:prometheus-trafficserver-exporter"
  needed_packages+=" rsyslog-relp"
}

# What makes packages, and what looks at them.
need_packaging() {
  need_traffic_server
  needed_commands+=" dh:debhelper dh_apparmor:dh-apparmor lintian:lintian"
}

# What the tests need besides: a browser, and compressors of another make.
need_what_tests_need() {
  need_farm
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

# libiconv's sources come in an npm package. npm itself is large: without it, a package of one file
# that knows the registry is unpacked, and installed nowhere.
need_registry() {
  local deps=$root/build/deps
  [ ! -e "$deps/iconv-3.0.1.tgz" ] && ! command -v npm >/dev/null && ! has_own_libiconv || return 0
  [ ! -e "$deps/registry-url/usr" ] || return 0
  mkdir -p "$deps/registry-url"
  (cd "$deps/registry-url" && apt-get -qq download node-registry-url && dpkg -x ./*.deb . &&
    rm ./*.deb) >&2 || echo "A registry named in ~/.npmrc will do instead." >&2
}

# A GNU libiconv that somebody installed (Debian has none) saves fetching one.
has_own_libiconv() {
  local folder
  for folder in /usr/local /usr; do
    if grep -qs _LIBICONV_VERSION "$folder/include/iconv.h" &&
      [ -e "$folder/lib/libiconv.so" ]; then return 0; fi
  done
  return 1
}

install_missing() {
  local missing=()
  mapfile -t missing < <(missing_packages)
  if [ ${#missing[@]} -eq 0 ]; then
    need_registry
    return 0
  fi
  echo "Installing ${#missing[@]} packages and what they need: ${missing[*]}" >&2
  as_root apt-get -qq update >&2 || true
  # It tells on a descriptor of its own how far it is: "pmstatus:package:percent:text".
  if ! { as_root env DEBIAN_FRONTEND=noninteractive apt-get -qq install -y \
    --no-install-recommends -o APT::Status-Fd=3 "${missing[@]}" 3>&1 >/dev/null |
    sed -u 's/^\([dp][lm]status\):.*:\([0-9]*\)\.[0-9]*:.*/\1 \2/; s/^dlstatus/fetching/
      s/^pmstatus/unpacking/; /^[a-z]* [0-9]*$/!d' | show_progress Packages; }; then
    echo "This could not be done, and is needed: apt-get install ${missing[*]}" >&2
    return 1
  fi
  need_registry
}

# show_progress NAME: lines "WORDS PERCENT" of standard input as how far NAME is and how long it will
# take: on a terminal one line that changes, else a line every tenth part.
show_progress() {
  local name=$1 start=$SECONDS stage before percent said=-1 left end=$'\n'
  [ ! -t 2 ] || end=$'\033[K\r'
  while read -r stage percent; do
    [ "$stage" = "${before-}" ] || start=$SECONDS said=-1 before=$stage
    # What is done at once is not worth a word.
    [ "$((SECONDS - start))" -ge 2 ] || continue
    [ -t 2 ] || [ "$((percent / 10))" != "$said" ] || continue
    said=$((percent / 10)) left=
    if [ "$percent" -ge 3 ] && [ "$((SECONDS - start))" -ge 5 ]; then
      left=$(((SECONDS - start) * (100 - percent) / percent))
      left=", about $((left / 60)) min $((left % 60)) s left"
    fi
    printf '%s: %s, %d %%%s%s' "$name" "$stage" "$percent" "$left" "$end" >&2
  done
  [ ! -t 2 ] || printf '\033[K' >&2
}

# Warnings are errors for ./test, and for nobody who only uses Velmora; a tree that was made with the
# one or the other keeps to it, as all of it would be built anew.
warnings_are_errors() {
  local cache=$root/build/$1/CMakeCache.txt
  if [ -n "${VELMORA_WERROR-}" ]; then
    echo "$VELMORA_WERROR"
  else
    sed -n 's/^VELMORA_WERROR:BOOL=//p' "$cache" 2>/dev/null | grep . || echo OFF
  fi
}

# build PRESET [TARGET...]: configures and builds; what the compiler says goes to standard output, and
# beside it "[PERCENT] ..." lines.
build() {
  if command -v ccache >/dev/null; then
    export CMAKE_C_COMPILER_LAUNCHER=ccache CMAKE_CXX_COMPILER_LAUNCHER=ccache
  fi
  local preset=$1 targets=("${@:2}")
  [ ${#targets[@]} -gt 0 ] || targets=(all)
  local settings=(-D "VELMORA_WERROR=$(warnings_are_errors "$preset")")
  # What is pinned to one version's answers is tested with that version alone.
  if [ -z "${VELMORA_WERROR-}" ] && [ ! -e "$root/build/deps/iconv-3.0.1.tgz" ] &&
    ! command -v npm >/dev/null && has_own_libiconv; then
    settings+=(-D VELMORA_SYSTEM_LIBICONV=ON)
  fi
  (cd "$root" && cmake --preset "$preset" "${settings[@]}" &&
    NINJA_STATUS="[%p] " cmake --build --preset "$preset" --target "${targets[@]}" --parallel "$(nproc)")
}
