#!/usr/bin/env bash
# service_test.sh BUILD SOURCE: the tools that read the service's files find nothing wrong with them.
set -euo pipefail
build=$1 service=$2/packaging/service
PATH=$PATH:/usr/sbin:/sbin
folder=$(mktemp -d "${TMPDIR:-/tmp}/velmora-packaging-XXXXXX")
trap 'rm -rf "$folder"' EXIT

fail() {
  echo "service_test: $*" >&2
  exit 1
}
has() { command -v "$1" >/dev/null; }

# Whichever engine it is, the service is shut in: 3.0 is what the threshold says.
for engine in squid trafficserver; do
  units=$folder/$engine/lib/systemd/system
  mkdir -p "$units"
  cp -r "$service/velmora-proxy.service.d" "$service/$engine/velmora-proxy.service" "$units"
  ! has systemd-analyze ||
    systemd-analyze security --offline=true --root="$folder/$engine" --threshold=30 --no-pager \
      velmora-proxy.service >"$folder/said" 2>&1 || fail "$engine: $(tail -n 3 "$folder/said")"
done

mkdir -p "$folder/web/lib/systemd/system"
cp "$service/web/velmora-web.service" "$folder/web/lib/systemd/system"
! has systemd-analyze ||
  systemd-analyze security --offline=true --root="$folder/web" --threshold=30 --no-pager \
    velmora-web.service >"$folder/said" 2>&1 || fail "web: $(tail -n 3 "$folder/said")"

! has apparmor_parser || apparmor_parser -QK "$service/squid/apparmor/velmora-proxy" 2>"$folder/said" ||
  fail "$(cat "$folder/said")"

if has squid; then
  mkdir "$folder/squid.d"
  echo 'http_port 127.0.0.1:3128' >"$folder/squid.d/port.conf"
  sed "s|/etc/velmora/|$folder/|; s|/usr/lib/velmora|$build|" "$service/squid/squid.conf" >"$folder/squid.conf"
  squid -f "$folder/squid.conf" -k parse 2>"$folder/said" || fail "$(grep -vE "Processing|Initiali" "$folder/said")"
  ! grep -E 'WARNING|ERROR|FATAL' "$folder/said" || fail "squid.conf"
fi

# Once there is an authority, Squid takes what is made of the same settings, and each port looks in.
if [ -x /usr/lib/squid/security_file_certgen ]; then
  mkdir "$folder/ca" "$folder/cache"
  openssl req -config "$2/packaging/authority.cnf" -subj /O=Velmora/CN=test -x509 -new -noenc -newkey rsa:2048 \
    -keyout "$folder/ca/key.pem" -out "$folder/ca/velmora-proxy.crt" 2>"$folder/said" || fail "$(cat "$folder/said")"
  printf '[https]\nsplice = "bank.example"\n' >"$folder/velmora.toml"
  printf 'http_port 127.0.0.1:3130 name=house # ours' >"$folder/squid.d/house.conf"
  VELMORA_SETTINGS=$folder VELMORA_MADE=$folder/made VELMORA_CACHE=$folder/cache VELMORA_SHARE=$2/packaging \
    VELMORA_COMMAND=$build/velmora VELMORA_USER=$(id -un) "$service/squid/squid-settings" || fail "squid-settings"
  grep -qx '.bank.example' "$folder/made/spliced-sites.txt" || fail "sites that are passed on untouched"
  [ "$(grep -cE '^http_port [^ ]+ ssl-bump tls-cert=' "$folder/made/squid.conf")" = 2 ] || fail "a port looks not in"
  squid -f "$folder/made/squid.conf" -k parse 2>"$folder/said" || fail "$(grep -vE "Processing|Initiali" "$folder/said")"
  ! grep -E 'WARNING|ERROR|FATAL' "$folder/said" || fail "squid.conf of the inspection"
fi

# So does Traffic Server.
own=$folder/own
mkdir -p "$own/trafficserver" "$own/ca"
cp "$service"/trafficserver/*.config "$service"/trafficserver/*.yaml "$own/trafficserver"
VELMORA_SETTINGS=$own VELMORA_MADE=$own/made "$service/trafficserver/trafficserver-settings" || fail "trafficserver-settings"
for line in "records.config:server_ports STRING 3128:ip-in=127.0.0.1 13128:ssl:ip-in=127.0.0.1" \
  "plugin.config: authority=$own/ca tls-port=13128" "runroot.yaml:sysconfdir: $own/made/trafficserver"; do
  grep -qF "${line#*:}" "$own/made/trafficserver/${line%%:*}" || fail "trafficserver-settings: $line"
done

# Both engines load what the packages bring, by the policy that they bring.
grep -qF /usr/lib/velmora/ecap_velmora.so "$service/squid/squid.conf" || fail "the adapter of Squid"
grep -qF /usr/lib/velmora/trafficserver_velmora.so "$service/trafficserver/plugin.config" ||
  fail "the adapter of Traffic Server"

# A log that is turned over keeps its owner and its rights, whoever that is.
if has logrotate; then
  mkdir "$folder/log"
  echo line >"$folder/log/events.jsonl"
  chmod 640 "$folder/log/events.jsonl"
  [ "$(id -u)" != 0 ] || chown -R nobody "$folder/log"
  owner=$(stat -c '%U %a' "$folder/log/events.jsonl")
  sed "s|@log_dir@|$folder/log|g; /postrotate/,/endscript/d" "$2/packaging/logrotate.in" >"$folder/rotate"
  logrotate -s "$folder/state" -f "$folder/rotate" || fail "logrotate"
  [ -f "$folder/log/events.jsonl.1" ] || fail "the log is not turned over"
  [ "$(stat -c '%U %a' "$folder/log/events.jsonl")" = "$owner" ] || fail "the log has another owner"
fi
