#!/usr/bin/python3
"""Takes the pictures of docs/images/: a page as it is sent, and as it comes out of the filter.

An argument is the folder with the built libraries, if it is not build/release.
"""

import os
import pathlib
import sys
import tempfile

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
    print(f"Written: {IMAGES}/before.png and after.png")


if __name__ == "__main__":
    main()
