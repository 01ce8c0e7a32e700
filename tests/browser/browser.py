"""Headless Chromium behind a proxy, with everything it writes in a folder of its own."""

import os
import shutil
import subprocess

from selenium import webdriver
from selenium.webdriver.chrome.service import Service

WIDTH, HEIGHT = 800, 600
ARGUMENTS = (
    "--headless=new",
    # The sandbox asks for rights that not every machine gives; all pages are the tests' own.
    "--no-sandbox",
    "--disable-dev-shm-usage",
    "--disable-gpu",
    "--no-first-run",
    "--disable-background-networking",
    "--disable-component-update",
    "--disable-sync",
    "--hide-scrollbars",
)


def start_browser(home, squid=None):
    """A WebDriver; `home` is made for it. If the proxy looks into encrypted traffic, the browser is
    told to trust it, as a person would tell it."""
    home.mkdir()
    if squid and squid.authority:
        trust(home, squid.authority.certificate)
    options = webdriver.ChromeOptions()
    options.ignore_local_proxy_environment_variables()
    options.binary_location = shutil.which("chromium")
    for argument in ARGUMENTS:
        options.add_argument(argument)
    options.add_argument(f"--user-data-dir={home}/profile")
    if squid:
        options.add_argument(f"--proxy-server=http://127.0.0.1:{squid.port}")
    options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
    environment = {**os.environ, "HOME": str(home)}
    environment.pop("XDG_CONFIG_HOME", None)
    service = Service(shutil.which("chromedriver"), env=environment)
    driver = webdriver.Chrome(service=service, options=options)
    driver.set_page_load_timeout(30)
    driver.execute_cdp_cmd(
        "Emulation.setDeviceMetricsOverride",
        {"width": WIDTH, "height": HEIGHT, "deviceScaleFactor": 1, "mobile": False},
    )
    return driver


def trust(home, certificate):
    database = home / ".pki" / "nssdb"
    database.mkdir(parents=True)
    certutil = ["certutil", "-d", f"sql:{database}"]
    subprocess.run([*certutil, "-N", "--empty-password"], check=True)
    subprocess.run(
        [*certutil, "-A", "-t", "C,,", "-n", "Velmora proxy", "-i", certificate], check=True
    )
