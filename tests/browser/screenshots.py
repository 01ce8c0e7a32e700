#!/usr/bin/python3
"""Takes the pictures of docs/images/: a page as it is sent, and as it comes out of the filter; the web page
over a day that is made up.

An argument is the folder with the built libraries, if it is not build/release.
"""

import os
import pathlib
import sys
import tempfile

import made_up_day
from browser import start_browser
from gazette import ROOT, Gazette

IMAGES = ROOT / "docs" / "images"
MODULES = pathlib.Path(sys.argv[1]) if len(sys.argv) > 1 else ROOT / "build" / "release"


def main():
    IMAGES.mkdir(exist_ok=True)
    with tempfile.TemporaryDirectory(prefix="velmora-browser-", ignore_cleanup_errors=True) as name:
        os.chmod(name, 0o755)
        gazette = Gazette(name, is_secure=False)
        for picture, modules in (("before", None), ("after", MODULES)):
            with gazette.squid(f"squid-{picture}", modules) as squid:
                browser = start_browser(pathlib.Path(name, f"browser-{picture}"), squid)
                browser.get(gazette.url())
                browser.save_screenshot(str(IMAGES / f"{picture}.png"))
                browser.quit()
        gazette.stop()
        photograph_web(pathlib.Path(name, "web"))
    print(f"Written: {IMAGES}/before.png, after.png and web.png")


def photograph_web(folder):
    folder.mkdir()
    with made_up_day.WebServer(folder, MODULES) as web:
        browser = start_browser(folder / "browser")
        size = {"width": 1120, "height": 1000, "deviceScaleFactor": 1, "mobile": False}
        browser.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", size)
        browser.get(web.start_link)
        browser.save_screenshot(str(IMAGES / "web.png"))
        browser.quit()


if __name__ == "__main__":
    main()
