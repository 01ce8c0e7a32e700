"""What a browser makes of pages that came through the filter, and of the same pages without it."""

import contextlib
import os
import pathlib
import tempfile
import time
import unittest

from browser import start_browser
from gazette import ADVERTISEMENTS, ROOT, Gazette
from tls_origin import wait_for_names
from selenium.common.exceptions import WebDriverException
from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys

MODULES = pathlib.Path(os.environ.get("VELMORA_MODULES", ROOT / "build" / "release"))


class BrowserCase(unittest.TestCase):
    """One proxy and one browser for all tests of a class."""

    is_secure = False
    modules = None

    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory(prefix="velmora-browser-", ignore_cleanup_errors=True)
        cls.addClassCleanup(folder.cleanup)
        os.chmod(folder.name, 0o755)
        cls.site = Gazette(folder.name, cls.is_secure)
        cls.addClassCleanup(cls.site.stop)
        squid = cls.site.squid("squid", cls.modules)
        cls.addClassCleanup(squid.stop)
        squid.start()
        wait_for_names(squid.port)
        cls.browser = start_browser(pathlib.Path(folder.name, "browser"), squid)
        cls.addClassCleanup(cls.browser.quit)

    def setUp(self):
        self.site.origin.requests.clear()
        self.browser.get_log("browser")

    def tearDown(self):
        self.wait_for(self.is_alone, seconds=90)
        self.browser.switch_to.window(self.browser.window_handles[0])

    def is_alone(self):
        """Closes what else is open; what still loads on a busy machine may take several times."""
        for other in self.browser.window_handles[1:]:
            with contextlib.suppress(WebDriverException):
                self.browser.switch_to.window(other)
                self.browser.close()
        return len(self.browser.window_handles) == 1

    def visit(self, name="gazette.example"):
        self.browser.get(self.site.url(name))
        self.assertEqual(self.browser.title, "The Harbour Gazette")

    def wait_for(self, condition, seconds=15):
        deadline = time.monotonic() + seconds
        while not condition():
            self.assertLess(time.monotonic(), deadline, "waited in vain")
            time.sleep(0.05)

    def element(self, name):
        return self.browser.find_element(By.ID, name)

    def has(self, name):
        return bool(self.browser.find_elements(By.ID, name))

    def is_shown(self, image):
        width = "return arguments[0].naturalWidth"
        return self.browser.execute_script(width, self.element(image)) > 0

    def window_open(self):
        return self.browser.execute_script("return window.open.toString()")

    def errors(self):
        entries = self.browser.get_log("browser")
        return [entry["message"] for entry in entries if entry["level"] == "SEVERE"]

    def looks(self, image, seconds):
        """How many different pictures are seen within the time, or two as soon as there are two."""
        deadline = time.monotonic() + seconds
        seen = set()
        while len(seen) < 2 and time.monotonic() < deadline:
            seen.add(self.element(image).screenshot_as_png)
        return len(seen)

    def windows(self):
        return len(self.browser.window_handles)


class WithoutFilter(BrowserCase):
    """That the pages do what the filter is against: otherwise the other cases would show nothing."""

    def test_the_page_shows_all(self):
        self.visit()
        self.wait_for(lambda: self.windows() == 3)
        self.assertIn("[native code]", self.window_open())
        self.assertEqual(self.element("status").text, "ready")
        for image in ("banner", "skyscraper", "photo", "ball"):
            self.assertTrue(self.is_shown(image), image)
        self.assertTrue(self.has("frame"))
        self.assertIn("startBannerRotation is not defined", "".join(self.errors()))
        self.assertEqual(self.looks("ball", 15), 2)
        self.assertTrue(self.element("tide-link").get_attribute("onclick"))


class Filtered(BrowserCase):
    modules = MODULES

    def test_popups_errors_advertisements_and_animation_are_gone(self):
        self.visit()
        self.assertEqual(self.element("status").text, "ready", "the page's handler runs")
        self.assertIn("ZulWinOpen", self.window_open())
        self.assertEqual(self.errors(), [])
        for element in ("banner", "tower", "skyscraper", "frame"):
            self.assertFalse(self.has(element), element)
        for image in ("photo", "ball"):
            self.assertTrue(self.is_shown(image), image)
        self.assertEqual(self.looks("ball", 2), 1)
        self.element("tide-link").click()
        self.assertEqual(self.windows(), 1)
        self.assertEqual(ADVERTISEMENTS & set(self.site.origin.requests), set())

    def test_windows_that_are_asked_for_open_once_the_page_is_there(self):
        self.visit("restored.example")
        self.assertEqual(self.windows(), 1)
        self.assertIn("[native code]", self.window_open())
        self.element("tide-link").click()
        self.wait_for(lambda: self.windows() == 2)
        self.wait_for(lambda: "/tides" in self.site.origin.requests)
        self.assertNotIn("/offer", self.site.origin.requests)

    def test_a_block_page_is_worked_by_the_keyboard_alone(self):
        url = self.site.url("shut.example")
        for keys, is_open_then in ((Keys.TAB, False), (Keys.TAB * 2, True)):
            self.browser.get(url)
            self.assertEqual(self.browser.title, "Blocked by Velmora")
            ActionChains(self.browser).send_keys(keys, Keys.ENTER).perform()
            self.wait_for(lambda: self.browser.title == "The Harbour Gazette")
            self.browser.get(url)
            self.assertEqual(self.browser.title == "The Harbour Gazette", is_open_then)

    def test_no_script_is_left(self):
        self.visit("strict.example")
        self.assertEqual(self.element("status").text, "loading")
        self.assertEqual(self.browser.find_elements(By.TAG_NAME, "script"), [])
        for element, attribute in (("tide-link", "onclick"), ("script-link", "href")):
            self.assertFalse(self.element(element).get_dom_attribute(attribute), attribute)
        self.assertEqual(self.browser.execute_script("return document.body.onload"), None)
        self.assertEqual(self.windows(), 1)
        self.assertTrue(self.is_shown("photo"))
        self.assertEqual(self.looks("ball", 15), 2, "animation is not blocked here")


class WithoutFilterOverHttps(WithoutFilter):
    is_secure = True


class FilteredOverHttps(Filtered):
    is_secure = True


if __name__ == "__main__":
    unittest.main()
