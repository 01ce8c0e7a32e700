#!/usr/bin/env bash
# compare_builds.sh TRACE AD_LIBRARY ONE OTHER [COUNT [FOLDER]]: says whether two builds of the plug-in
# do the same, seen from outside, and if not, where they first differ. TRACE and AD_LIBRARY are the
# build's trace_bodies and fake_ad_library.so, ONE and OTHER two libvelmora.so.
set -euo pipefail
trace=$1 ads=$2 one=$3 other=$4 count=${5:-2000} folder=${6:-}
work=$(mktemp -d "${TMPDIR:-/tmp}/velmora-compare-XXXXXX")
trap 'rm -rf "$work"' EXIT

for log in 0 1; do
  "$trace" "$one" "$ads" "$count" "$log" ${folder:+"$folder"} >"$work/one"
  "$trace" "$other" "$ads" "$count" "$log" ${folder:+"$folder"} >"$work/other"
  if ! cmp -s "$work/one" "$work/other"; then
    line=$(cmp "$work/one" "$work/other" | sed 's/.* line //' || true)
    echo "they differ, with log=$log:"
    head -n "$line" "$work/one" | grep -a '^== ' | tail -n 1
    for side in one other; do echo "$side: $(sed -n "${line}p" "$work/$side" | cut -c 1-2000)"; done
    exit 1
  fi
  echo "log=$log: the same for $(grep -ac '^== ' "$work/one") bodies, $(wc -c <"$work/one") bytes of trace"
done
