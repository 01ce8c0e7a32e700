"""The web page in a browser, with scripts switched off, while the proxy that it is about runs."""

import datetime
import json
import os
import pathlib
import subprocess
import tempfile
import time
import unittest

import made_up_day
from browser import start_browser
from gazette import ROOT, Gazette
from engine import free_port
from tls_origin import wait_for_names
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys

MODULES = pathlib.Path(os.environ.get("VELMORA_MODULES", ROOT / "build" / "release"))
PASSWORD = "a word for the test"
PAGES = ("/", "/events", "/why?id=0123456789", "/allowed", "/lists", "/health", "/setup", "/login")
PAGES += ("/policy?url=https://shop.example/&client=127.0.0.1", "/nothing")
# An event whose parts are as long as they come.
AN_HOUR_AGO = made_up_day.moment(datetime.datetime.now(datetime.timezone.utc) - datetime.timedelta(hours=1))
LONG = {"time": AN_HOUR_AGO, "pid": 1, "event": "blocked", "category": "requests", "code": 500}
LONG |= {"url": f"https://{'a' * 60}.ads.example/{'b' * 700}", "type": "script", "item": ""}
LONG |= {"page": f"https://{'c' * 60}.{'d' * 60}.example/{'e' * 300}", "detail": "f" * 200}
LONG |= {"client": "2001:db8:1111:2222:3333:4444:5555:6666", "list": "g" * 80, "id": "0123456789"}

# By which the setup page sees that the proxy is trusted, among the sites that the browser may ask for.
CHECK = "acl site dstdomain check.velmora.invalid\n"
# Width, how many of the screen's dots make one of the page's, whether it is a telephone, and the colours.
SCREENS = (
    (320, 1, True, "dark"),
    (390, 3, True, "light"),
    # 1280 dots at 200 %.
    (640, 2, False, "dark"),
    (800, 1, False, "light"),
)
# What does not fit into the width, or cannot be read on its ground (WCAG 2.2: 4.5 to 1).
FAULTS = """
const width = arguments[0], faults = [];
const channel = c => (c /= 255) <= 0.04045 ? c / 12.92 : ((c + 0.055) / 1.055) ** 2.4;
const luminance = color => {
  const [r, g, b] = color.match(/[0-9.]+/g).map(Number).map(channel);
  return 0.2126 * r + 0.7152 * g + 0.0722 * b;
};
const isClear = color => color === "rgba(0, 0, 0, 0)";
const ground = element => {
  while (element.parentElement && isClear(getComputedStyle(element).backgroundColor))
    element = element.parentElement;
  return getComputedStyle(element).backgroundColor;
};
document.querySelectorAll("details").forEach(each => each.open = true);
if (document.documentElement.scrollWidth > width) faults.push("the page scrolls sideways");
for (const element of document.querySelectorAll("body *")) {
  const texts = [...element.childNodes].filter(each => each.nodeType === 3 && each.data.trim());
  if (!texts.length || !element.checkVisibility() || !element.getClientRects().length) continue;
  const style = getComputedStyle(element), text = texts[0].data.trim().slice(0, 40);
  const color = element instanceof SVGElement ? style.fill : style.color;
  const [darker, lighter] = [color, ground(element)].map(luminance).sort((a, b) => a - b);
  if ((lighter + 0.05) / (darker + 0.05) < 4.5) faults.push("faint: " + text);
  if (element.closest("pre")) continue;
  const isCut = element.clientWidth > 0 && element.scrollWidth > element.clientWidth + 1;
  if (isCut || element.getBoundingClientRect().right > width + 1) faults.push("cut: " + text);
}
return faults;
"""
# How many places the keyboard has to come to, and at which it is; none where that does not show.
PLACES = """
const all = [...document.querySelectorAll("a[href], button, input:not([type=hidden]), select, summary")]
  .filter(each => each.checkVisibility());
"""
FOCUSABLE = PLACES + "return all.length"
FOCUSED = PLACES + """
const it = document.activeElement, box = it.getBoundingClientRect(), style = getComputedStyle(it);
const shows = style.outlineStyle !== "none" && box.left >= 0 && box.top >= 0 && box.bottom < innerHeight + 1;
return shows ? all.indexOf(it) : -1;
"""


class WebServer:
    """`velmora web` about a running proxy."""

    def __init__(self, squid, port):
        self.url = f"http://127.0.0.1:{port}/"
        self.options = ["--policy", str(squid.policy)]
        web = [MODULES / "velmora", "web", *self.options, "--log", str(squid.events)]
        web += ["--listen", f"127.0.0.1:{port}", "--proxy", f"127.0.0.1:{squid.port}"]
        web += ["--authority", str(squid.authority.certificate)]
        self.process = subprocess.Popen(
            ["setpriv", "--pdeathsig", "TERM", *web], stderr=subprocess.PIPE, text=True
        )
        self.start_link = next(
            line.strip() for line in self.process.stderr if "start?word=" in line
        )

    def set_password(self):
        command = [MODULES / "velmora", "web", "--set-password", *self.options]
        subprocess.run(command, input=PASSWORD + "\n", text=True, check=True, capture_output=True)

    def stop(self):
        self.process.terminate()
        self.process.wait()
        self.process.stderr.close()


class Web(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory(prefix="velmora-browser-", ignore_cleanup_errors=True)
        cls.addClassCleanup(folder.cleanup)
        os.chmod(folder.name, 0o755)
        cls.site = Gazette(folder.name, is_secure=True)
        cls.addClassCleanup(cls.site.stop)
        port = free_port()
        cls.site.configuration = CHECK + cls.site.configuration
        cls.squid = cls.site.squid("squid", MODULES)
        cls.addClassCleanup(cls.squid.stop)
        cls.squid.start()
        wait_for_names(cls.squid.port)
        with open(cls.squid.events, "a", encoding="utf-8") as events:
            events.write(json.dumps(LONG, separators=(",", ":")) + "\n")
        cls.web = WebServer(cls.squid, port)
        cls.addClassCleanup(cls.web.stop)
        cls.web.set_password()
        cls.home = pathlib.Path(folder.name)
        cls.browser = start_browser(cls.home / "browser", cls.squid)
        cls.addClassCleanup(cls.browser.quit)
        cls.browser.execute_cdp_cmd("Emulation.setScriptExecutionDisabled", {"value": True})
        cls.browser.get(cls.web.start_link)

    def open(self, path):
        self.browser.get(self.web.url + path.lstrip("/"))

    def heading(self):
        return self.browser.find_element(By.TAG_NAME, "h1").text

    def press(self, text):
        """Goes to a link or button by the keyboard alone, and presses it."""
        for _ in range(80):
            ActionChains(self.browser).send_keys(Keys.TAB).perform()
            if self.browser.switch_to.active_element.text == text:
                ActionChains(self.browser).send_keys(Keys.ENTER).perform()
                return
        self.fail(f"the keyboard does not come to {text!r}")

    def wait_for_title(self, url, title):
        """A running proxy takes a change within a second."""
        deadline = time.monotonic() + 30
        while True:
            self.browser.get(url)
            if self.browser.title == title:
                return
            self.assertLess(time.monotonic(), deadline, f"waited in vain for {title!r}")
            time.sleep(0.2)

    def test_a_blocked_site_is_allowed_and_blocked_again_by_the_keyboard(self):
        url = self.site.url("shut.example")
        self.browser.get(url)
        self.assertEqual(self.browser.title, "Blocked by Velmora")
        self.wait_for_title(self.web.url, "Overview · Velmora")
        deadline = time.monotonic() + 20
        while "shut.example" not in self.browser.page_source:
            self.assertLess(time.monotonic(), deadline, "the block does not show")
            self.open("/")
        self.press("Why?")
        self.assertIn("||shut.example^$document", self.browser.page_source)
        self.browser.back()
        self.press("Allow here")
        self.assertIn("shut.example for 127.0.0.1", self.browser.page_source)
        self.wait_for_title(url, "The Harbour Gazette")
        self.open("/allowed")
        self.press("Take back")
        self.assertIn("Nothing is allowed", self.browser.page_source)
        self.wait_for_title(url, "Blocked by Velmora")

    def test_the_keyboard_comes_everywhere_and_shows_where(self):
        for path in PAGES:
            with self.subTest(path):
                self.open(path)
                wanted = self.browser.execute_script(FOCUSABLE)
                reached = set()
                for _ in range(wanted + 4):
                    ActionChains(self.browser).send_keys(Keys.TAB).perform()
                    reached.add(self.browser.execute_script(FOCUSED))
                self.assertEqual(reached - {-1}, set(range(wanted)))

    def test_pages_fit_and_break_none_of_their_own_rules(self):
        self.browser.get_log("browser")
        for width, scale, is_telephone, colours in SCREENS:
            metrics = {"width": width, "height": 600, "deviceScaleFactor": scale, "mobile": is_telephone}
            self.browser.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", metrics)
            wanted = {"features": [{"name": "prefers-color-scheme", "value": colours}]}
            self.browser.execute_cdp_cmd("Emulation.setEmulatedMedia", wanted)
            for path in PAGES:
                with self.subTest(path, width=width, colours=colours):
                    self.open(path)
                    self.assertEqual(self.browser.execute_script(FAULTS, width), [])
        complaints = [entry["message"] for entry in self.browser.get_log("browser")]
        self.assertEqual([text for text in complaints if "Policy" in text], [])

    def test_the_setup_page_tells_who_trusts_the_proxy(self):
        width = "return document.querySelector('.check img').naturalWidth"
        self.open("/setup")
        self.assertIn(self.squid.authority.fingerprint(), self.browser.page_source)
        self.assertGreater(self.browser.execute_script(width), 0)
        authority, self.squid.authority = self.squid.authority, None
        stranger = start_browser(self.home / "stranger", self.squid)
        self.squid.authority = authority
        try:
            stranger.get(self.web.url + "setup")
            self.assertEqual(stranger.execute_script(width), 0)
            # It is not logged in.
            stranger.get(self.web.url + "events")
            self.assertEqual(stranger.title, "Log in · Velmora")
            ActionChains(stranger).send_keys(PASSWORD, Keys.ENTER).perform()
            deadline = time.monotonic() + 20
            while stranger.title != "Activity · Velmora":
                self.assertLess(time.monotonic(), deadline, stranger.page_source)
                time.sleep(0.1)
        finally:
            stranger.quit()


if __name__ == "__main__":
    unittest.main()
