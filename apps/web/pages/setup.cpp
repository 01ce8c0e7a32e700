// How devices come to use the proxy, and to trust it.
#include <string>

#include "web/layout.h"
#include "web/pages/pages.h"
#include "web/setup/authority.h"
#include "web/setup/proxy_address.h"

namespace velmora::web {
namespace {

std::string ProxyOf(const Visit &visit) {
  return ProxyFor(visit.options.proxy, visit.request.host);
}

Markup HowToUse(const Visit &visit) {
  const std::string script =
      (visit.request.is_encrypted ? "https://" : "http://") + visit.request.host + "/proxy.pac";
  const std::string proxy = ProxyOf(visit);
  const std::size_t colon = proxy.rfind(':');
  command::Sheet values;
  values.Add("script", script);
  values.Add("or host", proxy.substr(0, colon));
  values.Add("and port", proxy.substr(colon + 1));
  Markup html;
  html
      << "<h2>1. Use the proxy</h2>\n"
         "<p>Each device is told once where the proxy is: by the address of a script that keeps "
         "what lies in the house out of it, or by host and port.</p>\n<section class=\"card\">"
      << Values(values)
      << "</section>\n"
         "<details><summary>Windows</summary><p>Settings, Network &amp; internet, Proxy: switch on "
         "<em>Use setup script</em> and enter the script's address.</p></details>\n"
         "<details><summary>macOS</summary><p>System Settings, Network, the network's Details, "
         "Proxies: <em>Automatic proxy configuration</em>.</p></details>\n"
         "<details><summary>iPhone, iPad</summary><p>Settings, Wi-Fi, the (i) beside the network, "
         "Configure Proxy: <em>Automatic</em>, and the script's address. It holds for that network "
         "alone.</p></details>\n"
         "<details><summary>Android</summary><p>Settings, Network &amp; internet, Internet, the "
         "network's pencil, Advanced, Proxy: <em>Proxy Auto-Config</em>.</p></details>\n"
         "<details><summary>Firefox</summary><p>Settings, Network Settings: <em>Automatic proxy "
         "configuration URL</em>.</p></details>\n"
         "<details><summary>Linux</summary><p>GNOME: Settings, Network, Proxy, Automatic. Chromium "
         "follows that, or is started with <code>--proxy-pac-url</code>. Programs of the terminal "
         "read <code>http_proxy</code> and <code>https_proxy</code>.</p></details>\n"
         "<details><summary>All devices of a network at once (WPAD)</summary><p>Have the name "
         "<code>wpad</code> of the network's domain lead to this machine and a web server on its "
         "port 80 pass <code>/wpad.dat</code> on to this page; devices that look for a proxy by "
         "themselves find it then. Or have the DHCP server send the script's address as option 252."
         "</p></details>\n";
  return html;
}

Markup HowToTrust(const Authority &authority) {
  command::Sheet values;
  values.Add("name", authority.name);
  values.Add("good until", authority.expires);
  Markup html;
  html
      << "<h2>2. Trust the proxy</h2>\n"
         "<p>It looks into encrypted pages, and so has to answer with certificates of its own. "
         "Each "
         "device is told once to trust the authority that signs them. Compare the fingerprint with "
         "the one that the device shows.</p>\n<section class=\"card\">"
      << Values(values) << "<p>SHA-256 fingerprint</p><p class=\"print\">" << authority.fingerprint
      << "</p>\n<p><a href=\"/setup/velmora.crt\">Download the certificate</a> (most devices) · "
         "<a href=\"/setup/velmora.pem\">as text</a> (Firefox, Linux)</p></section>\n"
         "<details><summary>Windows</summary><p>Open the downloaded file, <em>Install "
         "certificate</em>, Local Machine, and place it in the store <em>Trusted Root "
         "Certification "
         "Authorities</em>.</p></details>\n"
         "<details><summary>macOS</summary><p>Open the file, which adds it to Keychain Access; "
         "there "
         "double-click it, and under Trust choose <em>Always Trust</em>.</p></details>\n"
         "<details><summary>iPhone, iPad</summary><p>Download it in Safari; Settings, <em>Profile "
         "Downloaded</em>, Install. Then Settings, General, About, <em>Certificate Trust "
         "Settings</em>: switch it on.</p></details>\n"
         "<details><summary>Android</summary><p>Settings, Security, Encryption &amp; credentials, "
         "Install a certificate, <em>CA certificate</em>. Browsers trust it then; many apps do "
         "not.</p></details>\n"
         "<details><summary>Firefox</summary><p>Settings, Certificates, View Certificates, "
         "Authorities, Import: trust it <em>to identify websites</em>.</p></details>\n"
         "<details><summary>Chromium on Linux</summary><pre><code>mkdir -p ~/.pki/nssdb\n"
         "certutil -d sql:$HOME/.pki/nssdb -A -t C,, -n velmora -i velmora.pem</code></pre>"
         "</details>\n"
         "<details><summary>Debian and what comes of it</summary><pre><code>sudo cp velmora.pem "
         "/usr/local/share/ca-certificates/velmora.crt\nsudo update-ca-certificates</code></pre>"
         "</details>\n"
         "<h3>Does this browser trust it?</h3>\n<p class=\"check\">"
         "<img src=\"https://check.velmora.invalid/trusted.svg\" width=\"220\" height=\"48\" "
         "alt=\"Not yet: the picture that should be here did not come.\"></p>\n"
         "<p class=\"small\">The picture comes by https from the proxy itself, under a name that "
         "exists nowhere: a browser that does not use the proxy does not get it either. Apple's "
         "devices may refuse it though they trust the proxy: there, open any page by https.</p>\n";
  return html;
}

constexpr Literal LIMITS =
    "<h2>What no proxy filters</h2>\n"
    "<ul>\n"
    "<li><strong>Apps that trust their own certificates alone</strong> (banks, many of Android's, "
    "updates): they fail where the proxy looks into their traffic. Their hosts go into "
    "<code>[https] splice</code> of the policy, and pass as they are.</li>\n"
    "<li><strong>QUIC (HTTP/3)</strong> does not go by way of a proxy. A browser that has one does "
    "not use it; apps without the setting do.</li>\n"
    "<li><strong>Devices and apps without the setting</strong> go past it, and so does a "
    "VPN.</li>\n"
    "<li><strong>Encrypted pages, without the step above</strong>: whole hosts are blocked, "
    "nothing within a page.</li>\n"
    "</ul>\n"
    "<p>A firewall that passes between the devices and the Internet closes these ways; with "
    "nftables, "
    "in <code>/etc/nftables.conf</code> of the router:</p>\n"
    "<pre><code>table inet velmora {\n"
    "  chain forward {\n"
    "    type filter hook forward priority filter; policy accept;\n"
    "    # QUIC: what is refused is tried again by TCP.\n"
    "    udp dport { 80, 443 } reject\n"
    "    # DNS past the network's own, by which lists are got around.\n"
    "    tcp dport 853 reject with tcp reset\n"
    "    udp dport 853 reject\n"
    "    # The web past the proxy, which runs on the router or is let out here by its address.\n"
    "    ip saddr 192.168.1.2 tcp dport { 80, 443 } accept\n"
    "    tcp dport { 80, 443 } reject with tcp reset\n"
    "  }\n"
    "}</code></pre>\n";

Response Download(std::string type, std::string body, const std::string &name) {
  return {.type = std::move(type),
          .body = std::move(body),
          .headers = {{"Content-Disposition", "attachment; filename=\"" + name + "\""}}};
}

Response NoAuthority() {
  return {.status = 404,
          .type = "text/plain; charset=utf-8",
          .body = "This proxy does not look into encrypted traffic.\n"};
}

}  // namespace

Response SetupPage(const Visit &visit) {
  Markup html;
  html << "<p>For every device whose pages are to be filtered.</p>\n" << HowToUse(visit);
  if (const auto authority = ReadAuthority(visit.options.authority)) {
    html << HowToTrust(*authority);
  } else {
    html << "<h2>2. Nothing to trust</h2>\n<p>This proxy passes encrypted pages on as they are; "
            "hosts "
            "that the lists block are blocked all the same. No certificate is needed.</p>\n";
  }
  html << LIMITS;
  return Page(visit, "Set up a device", html);
}

Response AuthorityAsDer(const Visit &visit) {
  const auto authority = ReadAuthority(visit.options.authority);
  return authority ? Download("application/x-x509-ca-cert", authority->der, "velmora.crt")
                   : NoAuthority();
}

Response AuthorityAsPem(const Visit &visit) {
  const auto authority = ReadAuthority(visit.options.authority);
  return authority ? Download("application/x-pem-file", authority->pem, "velmora.pem")
                   : NoAuthority();
}

Response ProxyScript(const Visit &visit) {
  return {.type = "application/x-ns-proxy-autoconfig", .body = ProxyScript(ProxyOf(visit))};
}

}  // namespace velmora::web
