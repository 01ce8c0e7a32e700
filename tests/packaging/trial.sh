#!/bin/bash
# Runs in the container of try.sh, as its one service: from installation to purge.
set -uo pipefail
export DEBIAN_FRONTEND=noninteractive
cd /trial || exit
failures=0

# expect WHAT COMMAND...
expect() {
  if "${@:2}"; then
    printf 'ok    %s (%d s)\n' "$1" "$SECONDS"
  else
    echo "FAIL  $1"
    failures=$((failures + 1))
  fi
}
fails() { ! "$@"; }
quiet() { "$@" >/dev/null 2>&1; }
apt() { apt-get -qq -y "$@" >/trial/apt.log 2>&1 || { tail -n 20 /trial/apt.log; return 1; }; }
install_packages() { apt install /trial/velmora_*.deb /trial/velmora-lists_*.deb "/trial/velmora-$1"_*.deb; }

mkdir origin
page='<html><body>one <img src="http://ad.doubleclick.net/x.gif">two</body></html>'
echo "$page" >origin/page.html
python3 -m http.server --bind 127.0.0.1 --directory origin 8000 >/dev/null 2>&1 &
origin=$!

# The same by HTTPS, of a site whose authority the system trusts.
mkdir tls
{
  openssl req -x509 -new -noenc -newkey rsa:2048 -days 2 -subj /CN=trial -keyout tls/root.key -out tls/root.crt
  openssl req -new -noenc -newkey rsa:2048 -subj /CN=secure.example -keyout tls/site.key -out tls/site.csr
  openssl x509 -req -in tls/site.csr -CA tls/root.crt -CAkey tls/root.key -CAcreateserial -days 2 \
    -extfile <(echo subjectAltName=DNS:secure.example) -out tls/site.crt
  cp tls/root.crt /usr/local/share/ca-certificates/trial.crt
  update-ca-certificates
} >tls.log 2>&1 || cat tls.log
echo 127.0.0.1 secure.example >>/etc/hosts
cat >tls/serve.py <<'END'
import functools, http.server, ssl
handler = functools.partial(http.server.SimpleHTTPRequestHandler, directory="/trial/origin")
server = http.server.ThreadingHTTPServer(("127.0.0.1", 443), handler)
context = ssl.create_default_context(ssl.Purpose.CLIENT_AUTH)
context.load_cert_chain("/trial/tls/site.crt", "/trial/tls/site.key")
server.socket = context.wrap_socket(server.socket, server_side=True)
server.serve_forever()
END
python3 tls/serve.py >/dev/null 2>&1 &

through() { curl -sS --retry 20 --retry-delay 1 --retry-connrefused --max-time 10 -x "127.0.0.1:$1" "${@:2}"; }
is_filtered() { through "$1" http://127.0.0.1:8000/page.html | grep -qx '<html><body>one two</body></html>'; }
is_unfiltered() { through "$1" http://127.0.0.1:8000/page.html | grep -qxF "$page"; }
is_answered() { through 3128 -D - -o /dev/null http://ad.doubleclick.net/x.gif | grep -q '^X-Velmora: blocked'; }
certificate=/etc/velmora/ca/velmora-proxy.crt
trusting() { through 3128 --capath /nonexistent --cacert "$certificate" "$@"; }
is_secure_filtered() { trusting https://secure.example/page.html | grep -qx '<html><body>one two</body></html>'; }
is_secure_untouched() { through 3128 https://secure.example/page.html | grep -qxF "$page"; }
is_trust_seen() { trusting https://check.velmora.invalid/trusted.svg | grep -q '^<svg '; }
fingerprint() { openssl x509 -noout -fingerprint -sha256 "$@"; }
is_handed_out() {
  curl -sS --retry 20 --retry-delay 1 --retry-connrefused --noproxy '*' http://127.0.0.1:3180/setup/velmora.pem |
    fingerprint | grep -qxF "$(fingerprint -in "$certificate")"
}
is_overview_shown() {
  link=$(journalctl -u velmora-web --no-pager -o cat | grep -o 'http://[^ ]*/start?word=.*' | tail -n 1)
  curl -sS --noproxy '*' --cookie-jar cookies --location -o overview "$link" && grep -q '<h1>Overview</h1>' overview
}
web_reads_key() { nsenter -t "$(systemctl show -P MainPID velmora-web)" -m grep -q PRIVATE /etc/velmora/ca/key.pem; }
is_used_by_velmora() { for p in /proc/[0-9]*; do [ "$(stat -c %U "$p" 2>/dev/null)" = velmora ] && grep -q squid "$p/comm" && return; done; return 1; }
is_active() { systemctl --quiet is-active "$1"; }

expect_shut_in() {
  exposure=$(systemd-analyze security "$1" --no-pager | sed -n 's/.*Overall exposure level for [^:]*: \([0-9.]*\).*/\1/p')
  expect "exposure of $1 is 3 at the most: $exposure" awk "BEGIN { exit !($exposure + 0 > 0 && $exposure <= 3) }"
}

# All files but those that tell of an installation by their nature: the package system's own, logs, and
# the accounts, as a user of the system is never taken away.
files() {
  find /etc /usr /var /opt -xdev \( -path /var/lib/dpkg -o -path /var/lib/apt -o -path /var/cache -o -path /var/log \
    -o -path '/etc/passwd*' -o -path '/etc/group*' -o -path '/etc/*shadow*' -o -path /var/lib/systemd \
    -o -path /var/lib/logrotate \
    -o -path /etc/ld.so.cache -o -name __pycache__ \) -prune -o -printf '%p %y %m %u:%g %s %l\n' | sort
  find /etc /lib/systemd -xdev -type f ! -path '/etc/*shadow*' ! -path '/etc/passwd*' ! -path '/etc/group*' \
    ! -path /etc/ld.so.cache -print0 | sort -z | xargs -0 sha256sum
}

apt install squid-openssl
expect "Squid as it comes passes a page on" is_unfiltered 3128
files >before

started=$(date +%s%N)
expect "the packages install" install_packages squid
expect "a page is filtered on 127.0.0.1:3128" is_filtered 3128
echo "      $((($(date +%s%N) - started) / 1000000)) ms from the start of the installation to the filtered page"
expect "a request for an advertisement is answered" is_answered
expect "Squid's own service rests" fails is_active squid
expect "the log tells what was blocked" grep -q '"event":"blocked"' /var/log/velmora/events.jsonl
expect "the proxy works as a user of its own" is_used_by_velmora
expect "the log is that user's alone" [ "$(stat -c '%U %a' /var/log/velmora/events.jsonl)" = "velmora 640" ]
expect "compiled lists are kept" quiet ls /var/cache/velmora/*
expect_shut_in velmora-proxy
expect "the web page's service runs" is_active velmora-web
expect "and its link logs in" is_overview_shown
expect_shut_in velmora-web

expect "the service reloads" systemctl reload velmora-proxy
logrotate -f /etc/logrotate.d/velmora
goes_on() {
  for _ in $(seq 20); do
    is_filtered 3128 && grep -qs '"event":"blocked"' /var/log/velmora/events.jsonl && return
    sleep 0.5
  done
  return 1
}
expect "after a rotation the log goes on under its name" goes_on
expect "and keeps its owner" [ "$(stat -c '%U %a' /var/log/velmora/events.jsonl)" = "velmora 640" ]
expect "the timer for new lists has nothing to do, and no failure" systemctl start velmora-lists.service
expect "and is there" is_active velmora-lists.timer
expect "a report is written" systemctl start velmora-report.service
expect "and tells of what was blocked" grep -q 'By category' /var/log/velmora/report.html
expect "as it will be each morning" is_active velmora-report.timer
expect "a site is allowed" quiet velmora allow 127.0.0.1
sleep 2
expect "an allowed site is not touched" is_unfiltered 3128
systemctl restart velmora-proxy
expect "a second start finds its way" is_unfiltered 3128

expect "encrypted traffic passes as it is" is_secure_untouched
expect "inspection is switched on" quiet velmora https on
expect "who trusts the authority gets pages over HTTPS filtered" is_secure_filtered
expect "and sees that it does" is_trust_seen
expect "who does not gets none" fails is_secure_untouched
expect "the authority's key is the proxy's alone" [ "$(stat -c '%U %a' /etc/velmora/ca/key.pem)" = "velmora 600" ]
expect "the web page hands its certificate out" is_handed_out
expect "and cannot read its key" fails quiet web_reads_key
expect "a reload leaves it on" systemctl reload velmora-proxy
expect "as it was" is_secure_filtered
expect "inspection is switched off" quiet velmora https off
expect "encrypted traffic passes as it did" is_secure_untouched
: >/etc/velmora/ca.off/key.pem
expect "an authority without a key is not switched on" fails quiet velmora https on
expect "and the proxy works as before" is_unfiltered 3128

expect "a purge goes through" apt purge --auto-remove velmora velmora-lists velmora-squid
expect "Squid's own service is back" is_active squid
expect "and passes the page on" is_unfiltered 3128
files >after
expect "all files are as they were" diff before after
is_nothing_left() { [ -z "$(ls -d {/etc,/var/log,/var/cache,/var/lib}/velmora 2>/dev/null)" ]; }
expect "no folder is left" is_nothing_left

echo 'acl mine src 10.1.0.0/16' >/etc/squid/conf.d/mine.conf
install_packages squid
expect "beside a Squid in use, filtered pages come from 127.0.0.1:3129" is_filtered 3129
expect "and that Squid goes on" is_unfiltered 3128
apt purge --auto-remove velmora velmora-lists velmora-squid squid-openssl

expect "Traffic Server's package installs" install_packages trafficserver
expect "a page is filtered in Traffic Server" is_filtered 3128
expect "a request for an advertisement is answered there" is_answered
expect_shut_in velmora-proxy
expect "inspection is switched on there" quiet velmora https on
expect "who trusts the authority gets pages over HTTPS filtered there" is_secure_filtered
expect "and sees that it does" is_trust_seen
expect "who does not gets none" fails is_secure_untouched
expect "inspection is switched off" quiet velmora https off
expect "encrypted traffic passes as it is there" is_secure_untouched
: >/etc/velmora/ca.off/key.pem
expect "an authority without a key is not switched on there" fails quiet velmora https on
expect "and the proxy works as before there" is_filtered 3128

# It has an origin of its own.
kill $origin
mkdir own
expect "the packages' own test passes" quiet env AUTOPKGTEST_TMP=/trial/own sh /trial/filtered-page

if [ "$failures" = 0 ]; then
  echo "All as it should be"
else
  journalctl --no-pager -u velmora-proxy -u squid | tail -n 60
  tail -n 30 /var/log/velmora/squid.log /var/log/velmora/trafficserver/diags.log 2>/dev/null
  echo "$failures failures"
fi
