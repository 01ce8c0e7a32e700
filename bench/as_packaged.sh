#!/bin/sh
# as_packaged.sh BUILD [TARGET...]: builds this project, or these targets of it, in the folder BUILD as the
# packages are built: in two stages, the second made for the ways that the first counted (debian/rules).
set -eu
cd "$(dirname "$0")/.."
build=$1
shift
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DVELMORA_TESTS=OFF -DVELMORA_PROFILE=GENERATE
cmake --build "$build" --target velmora libvelmora.so libvexlar.so
packaging/train.sh "$build"
cmake -DVELMORA_PROFILE=USE "$build"
cmake --build "$build" --target "${@:-all}"
