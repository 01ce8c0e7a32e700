#!/bin/sh
# Installs the peers of the comparison, and collects scripts, for the benchmark only:
# get_peers.sh FOLDER
set -eu
folder=${1:?"usage: get_peers.sh FOLDER"}
mkdir -p "$folder"
npm install --silent --no-save --ignore-scripts --no-audit --no-fund --prefix "$folder" \
  bun@1.4.5 es-module-lexer@3.0.5 acorn@8.19.0
"$(dirname "$0")/get_scripts.sh" "$folder/scripts"
