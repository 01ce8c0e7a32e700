# shellcheck shell=bash
# shellcheck disable=SC2154
# Sourced by ./test --lint: what is found without running Velmora. Each part says what it is about, and
# all of them are gone through before the answer is no.

# What only the tests need decides what is built, and so what is looked at.
need_what_tests_need
needed_commands+=" clang++:clang clang-format:clang-format run-clang-tidy:clang-tidy"

# The code is looked at as clang sees it, with its warnings, which check by the marks of base/mutex.h what
# threads share. The tests are left to ./test --clang.
lint() {
  local failed=()
  cd "$root" || return
  for part in formatting tidying looking_at_results; do
    echo "-- $part"
    "$part" || failed+=("$part")
  done
  [ ${#failed[@]} -eq 0 ] || echo "lint: ${failed[*]}" >&2
  [ ${#failed[@]} -eq 0 ]
}

sources() {
  git ls-files -co --exclude-standard -- "$@"
}

formatting() {
  # Of the C header the comment is laid out by hand.
  sources '*.cpp' '*.h' ':!include/velmora_host.h' | xargs clang-format --dry-run --Werror
}

# .clang-tidy has the checks. What takes the most time is left to ./test --all: checks that follow paths through
# the code or through all of the libraries that it includes, and the parts that no proxy loads. What passed is
# not read again until it, or a header, is another.
tidying() {
  # What is generated is all that has to be built.
  build clang adblock/generated/matcher_version.h >/dev/null || return
  local checks='-clang-analyzer-*,-performance-unnecessary-value-param' parts=(apps/ecap apps/trafficserver)
  [ -z "${VELMORA_TIDY_ALL-}" ] || checks='' parts=(apps)
  local passed=$root/build/tidy headers stamp file
  mkdir -p "$passed"
  # A header may be in anything: all of them are in every stamp.
  headers=$(sources '*.h' '*.inc' .clang-tidy | sort | xargs sha256sum | sha256sum)
  while read -r file; do
    stamp=$passed/$( (echo "$headers$checks$file" && cat "$file") | sha256sum | cut -c1-32)
    [ -e "$stamp" ] || printf '%s\n%s\n' "$file" "$stamp"
  done < <(sources 'adblock/*.cpp' 'host/*.cpp' 'src/*.cpp' "${parts[@]/%//*.cpp}") |
    xargs -r -P "$(nproc)" -n 2 bash -c \
      'clang-tidy --quiet --checks="$0" -p build/clang "$1" 2>/dev/null && touch "$2"' "$checks"
}

# Layers, exports, protections, and the links of the documents.
looking_at_results() {
  build release checked_objects >/dev/null &&
    ctest --preset release --label-regex '^lint$'
}
