#!/bin/sh
# train.sh BUILD: has the plug-in of a build with VELMORA_PROFILE=GENERATE filter the examples by all
# presets. What it counts lies beside its objects then, and is the same each time: nothing of the machine
# goes in, neither its lists nor, where that can be had, the places of what lies in memory.
set -eu
build=$1
examples=$(dirname "$0")/../examples
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export XDG_CACHE_HOME="$work"
setarch=
! setarch -R true 2>/dev/null || setarch="setarch -R"

find "$build" -name '*.gcda' -delete
printf '%s\n' '||ads.example^' '/banners/' >"$work/list.txt"
for preset in none calm strict classic still all; do
  $setarch "$build/velmora" filter --quiet --ad-lists "$work/list.txt" --block "$preset" \
    --url http://www.example.com/ -o "$work/$preset" "$examples"
done
