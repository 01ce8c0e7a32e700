#!/usr/bin/python3
"""Takes the pictures of docs/images/: a page as it is sent, and as it comes out of the filter; the web page
over a day that is made up; the report of a school's week that is.

An argument is the folder with the built libraries, if it is not build/release.
"""

import os
import pathlib
import subprocess
import sys
import tempfile

import made_up_day
from browser import start_browser
from gazette import ROOT, Gazette

IMAGES = ROOT / "docs" / "images"
SCHOOL_REPORT = ROOT / "bench" / "store" / "school_report.py"
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
    print(f"Written: {IMAGES}/before.png, after.png, web.png, telephone.png and report.png")


def photograph_web(folder):
    folder.mkdir()
    with made_up_day.WebServer(folder, MODULES) as web:
        browser = start_browser(folder / "browser")
        photograph(browser, web.start_link, "web", 1120, 1000)
        at_night = {"features": [{"name": "prefers-color-scheme", "value": "dark"}]}
        browser.execute_cdp_cmd("Emulation.setEmulatedMedia", at_night)
        photograph(browser, browser.current_url, "telephone", 390, 844, is_telephone=True)
        school = folder / "school"
        subprocess.run([SCHOOL_REPORT, MODULES / "velmora", school], check=True)
        browser.execute_cdp_cmd("Emulation.setEmulatedMedia", {"features": []})
        photograph(browser, (school / "report.html").as_uri(), "report", 1000, 1120)
        browser.quit()


def photograph(browser, url, name, width, height, is_telephone=False):
    size = {"width": width, "height": height, "deviceScaleFactor": 1, "mobile": is_telephone}
    browser.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", size)
    browser.get(url)
    browser.save_screenshot(str(IMAGES / f"{name}.png"))


if __name__ == "__main__":
    main()
