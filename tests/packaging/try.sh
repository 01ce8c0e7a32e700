#!/usr/bin/env bash
# try.sh PACKAGES: installs what ./run package made on a bare Debian 12 with a Squid as it comes, started in
# a container without a network; looks whether pages are filtered, and whether a purge leaves Squid as it was.
# Takes root, and the network for Debian's packages; the bare Debian stays in build/bare-debian.
set -euo pipefail
packages=$(realpath "$1")
here=$(cd "$(dirname "$0")" && pwd)
build=$(dirname "$packages")
bare=$build/bare-debian
trial=$build/trial

[ "$(id -u)" = 0 ] || exec sudo "$0" "$@"
command -v debootstrap systemd-nspawn >/dev/null || apt-get -qq install -y debootstrap systemd-container
if [ ! -e "$bare/done" ]; then
  rm -rf "$bare"
  echo "Making a bare Debian (once, some minutes)"
  debootstrap --variant=minbase --include=systemd-sysv,dbus,ca-certificates,curl,python3 \
    bookworm "$bare" >"$build/bare-debian.log"
  touch "$bare/done"
fi

rm -rf "$trial"
cp -a --reflink=auto "$bare" "$trial"
trap 'rm -rf "$trial"' EXIT
mkdir "$trial/trial"
cp "$packages"/*.deb "$here/trial.sh" "$here/../../debian/tests/filtered-page" "$trial/trial"
# What apt would fetch; services are started where nobody else has the port.
fetch() { chroot "$trial" apt-get -qq install --download-only -y "$@" >/dev/null; }
echo "Fetching what the packages depend on"
chroot "$trial" apt-get -qq update
started=$(date +%s%N)
fetch squid-openssl
for engine in squid trafficserver; do
  mapfile -t files < <(cd "$trial" && ls -d trial/velmora{,-lists,-"$engine"}_*.deb)
  fetch "${files[@]/#//}"
done
cp -u "$trial"/var/cache/apt/archives/*.deb "$bare/var/cache/apt/archives"
echo "Fetched in $((($(date +%s%N) - started) / 1000000)) ms"

cat >"$trial/etc/systemd/system/trial.service" <<'END'
[Service]
ExecStart=/bin/bash /trial/trial.sh
StandardOutput=file:/trial/log
StandardError=inherit
ExecStopPost=systemctl --no-block poweroff
END
ln -s /etc/systemd/system/trial.service "$trial/etc/systemd/system/multi-user.target.wants/"
timeout 1200 systemd-nspawn --quiet --private-network --register=no --keep-unit -b -D "$trial" \
  </dev/null >"$build/trial.console" 2>&1 || true
cat "$trial/trial/log"
tail -n 1 "$trial/trial/log" | grep -q '^All as it should be'
