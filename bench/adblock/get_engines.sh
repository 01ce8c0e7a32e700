#!/bin/sh
# Installs the engines that the ad library is compared with, for the comparison only:
# get_engines.sh FOLDER
#
# From npm: two engines in JavaScript, and the sources of native adblock-rust. The latter is built
# where there is a cargo, with crates of Debian's packages alone:
#   cargo librust-url-dev librust-regex-dev librust-aho-corasick-dev librust-libc-dev librust-bitflags-1-dev librust-itertools-dev
#   librust-serde-dev librust-serde-derive-dev librust-serde-json-dev librust-seahash-dev
#   librust-memchr-dev librust-base64-dev librust-rmp-serde-dev librust-thiserror-dev
#   librust-once-cell-dev librust-percent-encoding-dev librust-publicsuffix-dev publicsuffix
# (`adblock_rust/engine.toml` says how that differs from a build with all of its own crates.)
set -eu
folder=${1:?"usage: get_engines.sh FOLDER"}
here=$(cd "$(dirname "$0")" && pwd)
mkdir -p "$folder"
folder=$(cd "$folder" && pwd)
npm install --silent --no-save --ignore-scripts --no-audit --no-fund --prefix "$folder" \
  @gorhill/ubo-core@0.1.30 @ghostery/adblocker@2.18.2

crates=/usr/share/cargo/registry
if ! command -v cargo > /dev/null || ! [ -d "$crates" ]; then
  echo "no cargo, or none of Debian's crates: without adblock-rust" >&2
  exit 0
fi
rust=$folder/adblock_rust
mkdir -p "$rust/src"
(cd "$rust" && npm pack --silent adblock-rs@0.8.12 > /dev/null && tar xzf adblock-rs-0.8.12.tgz)
rm -f "$rust/package/Cargo.lock"
cp "$here/adblock_rust/engine.toml" "$rust/package/Cargo.toml"
cp "$here/adblock_rust/Cargo.toml" "$rust/"
cp "$here/adblock_rust/main.rs" "$rust/src/"
cd "$rust"
cargo build --quiet --release --offline --config 'source.crates-io.replace-with="debian"' \
  --config "source.debian.directory=\"$crates\""
