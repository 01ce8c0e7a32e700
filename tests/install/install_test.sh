#!/usr/bin/env bash
# install_test.sh CMAKE BUILD SOURCE LIBDIR: installs a build and works with the result.
set -euo pipefail
cmake=$1 build=$2 source=$3 libdir=$4
prefix=$(mktemp -d "${TMPDIR:-/tmp}/velmora-install-XXXXXX")
trap 'rm -rf "${prefix%.moved}" "$prefix"' EXIT

fail() {
  echo "install_test: $*" >&2
  exit 1
}

"$cmake" --install "$build" --prefix "$prefix" >/dev/null

# Moved, so that nothing can depend on the place that it was installed to.
mv "$prefix" "$prefix.moved"
prefix=$prefix.moved
velmora=$prefix/bin/velmora
policy=$prefix/etc/velmora/velmora.toml

# Everything has its place.
for file in bin/velmora "$libdir/velmora/libvelmora.so" "$libdir/velmora/libvexlar.so" \
  include/velmora/velmora.h include/vexlar/vexlar.h "$libdir/cmake/velmora/velmoraConfig.cmake" \
  "$libdir/pkgconfig/velmora.pc" include/velmora_host.h share/man/man1/velmora.1 share/man/man5/velmora.toml.5 \
  share/bash-completion/completions/velmora etc/velmora/velmora.toml etc/logrotate.d/velmora \
  share/velmora/squid.conf share/velmora/velmora-lists.service share/velmora/velmora-lists.timer \
  share/velmora/velmora-report.timer share/velmora/velmora-metrics.service share/velmora/grafana/velmora.json; do
  [ -f "$prefix/$file" ] || fail "$file is not installed"
done

# So have the documents that the README names.
while read -r file; do
  [ -e "$prefix/share/doc/velmora/$file" ] || fail "$file is not installed"
done < <(grep -o 'docs/[a-z/.-]*' "$source/README.md")

for folder in log cache; do
  [ "$(stat -c %a "$prefix/var/$folder/velmora")" = 750 ] || fail "$folder is not for the proxy alone"
done

# The command finds the plug-in and, by the sample policy, the ad-blocking library.
[[ $("$velmora" check-config) = "$policy: no problems"* ]] || fail "another policy is checked"
page='<html><body onload="x()">a<script>b()</script>c</body></html>'
filtered=$(echo "$page" | "$velmora" filter -q --block scripts --type html -)
[ "$filtered" = '<html><body >ac</body></html>' ] || fail "velmora filter: $filtered"
printf '[filter]\nblock = "ad-urls"\n[ads]\nlists = "list.txt"\n' >"$prefix/ads.toml"
echo '||ads.example^' >"$prefix/list.txt"
filtered=$(echo '<html><img src="http://ads.example/x.gif">c</html>' |
  "$velmora" filter -q --policy "$prefix/ads.toml" --type html -)
[ "$filtered" = '<html>c</html>' ] || fail "velmora filter --policy: $filtered"

# A second installation leaves the administrator's files alone.
echo '# mine' >>"$policy"
"$cmake" --install "$build" --prefix "$prefix" >/dev/null
grep -q '# mine' "$policy" || fail "the policy was overwritten"
grep -qF "policy=$policy" "$prefix/share/velmora/squid.conf" || fail "squid.conf: another policy"

# Hosts in C++, C and Python work with the package alone, found by CMake and by pkg-config, and do
# the same as the command.
cp -r "$source/examples/host" "$prefix/host"
"$cmake" -G Ninja -S "$prefix/host" -B "$prefix/host/build" -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
"$cmake" --build "$prefix/host/build" >/dev/null
export PKG_CONFIG_PATH=$prefix/$libdir/pkgconfig
strict=(-Wall -Wextra -Wpedantic -Werror)
read -ra flags <<<"$(pkg-config --cflags --libs velmora-host) -Wl,-rpath,$prefix/$libdir"
"${CC:-cc}" -std=c99 "${strict[@]}" "$prefix/host/small_host.c" "${flags[@]}" -o "$prefix/small_host_c"
"${CXX:-c++}" -std=c++17 "${strict[@]}" "$prefix/host/small_host.cpp" "${flags[@]}" \
  -o "$prefix/small_host"
printf '[filter]\nblock = "scripts"\n[ads]\nenabled = false\n' >"$prefix/scripts.toml"
"$velmora" filter -q --block scripts --type html - <<<"$page" >"$prefix/expected"
for host in "$prefix"/{host/build/,}small_host{,_c} \
  "python3 $prefix/host/small_host.py $prefix/$libdir/libvelmora-host.so.0"; do
  $host "$prefix/scripts.toml" <<<"$page" >"$prefix/found" 2>"$prefix/events" ||
    fail "$host: $(cat "$prefix/events")"
  diff "$prefix/expected" "$prefix/found" || fail "$host does not do what the command does"
  grep -qF 'scripts: onload="x()"' "$prefix/events" || fail "$host: $(cat "$prefix/events")"
done
printf '[[category]]\nname = "own"\nsites = "example.com"\n[filter]\nblock = "own"\n' >"$prefix/sites.toml"
for host in "$prefix"/small_host{,_c}; do
  $host "$prefix/sites.toml" <<<"$page" >"$prefix/found" 2>&1 || fail "$host: $(cat "$prefix/found")"
  grep -q 'not asked for: 403' "$prefix/found" || fail "$host asks for what is blocked"
done
# So do those that speak to the plug-in themselves.
[ -f "$(pkg-config --variable=plugindir velmora)/libvelmora.so" ] || fail "no plug-in by pkg-config"
# shellcheck disable=SC2046
"${CXX:-c++}" -std=c++20 -fsyntax-only $(pkg-config --cflags velmora) -x c++ - <<<\
  '#include <velmora/velmora.h>
   static_assert(velmora::RESULT_OK == 0x10000);' || fail "the plug-in's headers cannot be used"

# The list of what is installed is whole, also after the second time.
rm "$build/install_manifest.txt"
cp -r "$prefix" "$prefix.copy"
trap 'rm -rf "${prefix%.moved}" "$prefix" "$prefix.copy"' EXIT
sed "s|^$prefix/|$prefix.copy/|" "$prefix.copy/share/velmora/installed-files.txt" | xargs rm -f
left=$(find "$prefix.copy" \( -path '*/host/*' -o -path '*small_host*' \) -prune -o -type f -print -o -type l -print)
! grep -v '/[^/]*[.]copy/[^/]*$' <<<"$left" | grep -q . || fail "not in the list: $left"

# The completion knows commands, options and categories.
complete_line() {
  COMP_WORDS=("$@") COMP_CWORD=$(($# - 1)) COMPREPLY=()
  _velmora "$velmora" "${!#}" "${COMP_WORDS[COMP_CWORD - 1]}"
  echo "${COMPREPLY[*]}"
}
# shellcheck disable=SC1091
source "$prefix/share/bash-completion/completions/velmora"
while IFS='|' read -r line expected; do
  IFS=' ' read -ra words <<<"$line"
  [ "${line% }" = "$line" ] || words+=('')
  found=$(complete_line "${words[@]}")
  [ "$found" = "$expected" ] || fail "completion of '$line': '$found'"
done <<'END'
velmora f|filter
velmora che|check-config
velmora filter --rep|--report
velmora filter --report |text json
velmora filter --block flash,gif|flash,gif-animation
velmora filter --block d|default
velmora top --sum|--summary
END
