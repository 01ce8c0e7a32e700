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
  "$libdir/pkgconfig/velmora.pc" share/man/man1/velmora.1 share/man/man5/velmora.toml.5 \
  share/bash-completion/completions/velmora etc/velmora/velmora.toml etc/logrotate.d/velmora \
  share/velmora/squid.conf share/doc/velmora/policy.md; do
  [ -f "$prefix/$file" ] || fail "$file is not installed"
done

for folder in log cache; do
  [ "$(stat -c %a "$prefix/var/$folder/velmora")" = 750 ] || fail "$folder is not for the proxy alone"
done

# The command finds the plug-in and, by the sample policy, the ad-blocking library.
"$velmora" check-config "$policy" >/dev/null
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

# A host builds against the package alone, by CMake and by pkg-config, and works.
cp -r "$source/examples/host" "$prefix/host"
"$cmake" -G Ninja -S "$prefix/host" -B "$prefix/host/build" -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
"$cmake" --build "$prefix/host/build" >/dev/null
filtered=$(echo "$page" | "$prefix/host/build/small_host" 2>"$prefix/report")
case $filtered in
  *onload=* | *'b()'*) fail "small_host does not filter: $filtered" ;;
  '<html><body >a'*'c</body>'*) ;;
  *) fail "small_host damages the page: $filtered" ;;
esac
grep -q '^300: ' "$prefix/report" || fail "small_host reports: $(cat "$prefix/report")"
export PKG_CONFIG_PATH=$prefix/$libdir/pkgconfig
# shellcheck disable=SC2046
"${CXX:-c++}" -std=c++20 -DPLUGIN="\"$(pkg-config --variable=plugindir velmora)/libvelmora.so\"" \
  $(pkg-config --cflags velmora) "$prefix/host/small_host.cpp" $(pkg-config --libs velmora) \
  -o "$prefix/small_host"
echo "$page" | "$prefix/small_host" 2>/dev/null | cmp - <(
  echo "$page" | "$prefix/host/build/small_host" 2>/dev/null)

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
