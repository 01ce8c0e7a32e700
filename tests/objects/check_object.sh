#!/usr/bin/env bash
# check_object.sh FILE PLATFORM [EXPORT...]: what a built library or program must be.
#
# It exports the functions named (patterns will do), each of them, and nothing else: a symbol more
# could take the place of one of its host's, or be taken by it. It has the protections that
# cmake/VelmoraTargets.cmake asks for; whether they arrived can only be seen here.
set -euo pipefail
file=$1 platform=$2
shift 2
failures=()

# A program offers nothing to others; its libraries may refer to symbols of theirs that lie in it.
is_program=$(readelf --wide --program-headers "$file" | grep -c INTERP || true)
mapfile -t exports < <([ "$is_program" = 1 ] ||
  nm --dynamic --defined-only --format=posix "$file" | sed 's/@.*//; s/ .*//' |
  sort -u)
for name in "${exports[@]}"; do
  for pattern in "$@"; do
    # shellcheck disable=SC2053
    [[ $name == $pattern ]] && continue 2
  done
  failures+=("exports $name")
done
for pattern in "$@"; do
  grep -qx -- "${pattern//\*/.*}" < <(printf '%s\n' "${exports[@]}") ||
    failures+=("does not export $pattern")
done

headers=$(readelf --wide --program-headers "$file")
dynamic=$(readelf --wide --dynamic "$file")
symbols=$(nm --dynamic --undefined-only "$file")
# need WHAT TEXT PATTERN
need() {
  grep -qE -- "$3" <<<"$2" || failures+=("lacks $1")
}
need "addresses bound before it runs (now)" "$dynamic" 'BIND_NOW|FLAGS_1.*NOW'
need "relocations read-only (relro)" "$headers" GNU_RELRO
need "a stack that is not executed" "$headers" 'GNU_STACK.* RW '
need "the stack protector" "$symbols" __stack_chk_fail
need "checked string functions (FORTIFY)" "$symbols" '_chk\b'
need "a place that changes (PIC, PIE)" "$(readelf --file-header "$file")" 'Type: +DYN'
# The note that turns the processor's checks on is missing where the system's own start files lack it,
# as on Debian; the landing places are there all the same.
if [ "$platform" = x86_64 ]; then
  places=$(objdump --disassemble --no-show-raw-insn "$file" | grep -c endbr64 || true)
  [ "$places" -ge 20 ] || failures+=("lacks checked jumps (control-flow protection)")
fi

if [ ${#failures[@]} -gt 0 ]; then
  printf "$file: %s\n" "${failures[@]}" >&2
  exit 1
fi
