"""That `calm` leaves pages whole and no advertisement through, by the measure of ./run pages."""

import os
import pathlib
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.append(str(ROOT / "tools" / "pages"))

from pages import measure, parse_arguments  # noqa: E402

MODULES = os.environ.get("VELMORA_MODULES", str(ROOT / "build" / "release"))
# Of examples/sites: an application, one with a policy of its own, one that writes itself, one with much to
# block.
PAGES = ("app.example", "bank.example", "forum.example", "news.example")
AD_LIST = """\
||doubleclick.net^
||googlesyndication.com^
||googletagmanager.com^$third-party
||google-analytics.com^
||scorecardresearch.com^
||hotjar.com^
||quantserve.com^
"""


class WholePages(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        with tempfile.TemporaryDirectory(prefix="velmora-test-") as folder:
            os.chmod(folder, 0o755)
            ads = pathlib.Path(folder, "ads.txt")
            ads.write_text(AD_LIST)
            sites = str(ROOT / "examples" / "sites")
            cls.rows = measure(
                parse_arguments(
                    [sites, "--preset", "calm,classic", "--only", *PAGES]
                    + ["--ad-lists", str(ads), "--modules", MODULES]
                )
            )

    def of(self, subject):
        return {row.page: row for row in self.rows if row.subject == subject}

    def test_calm_takes_advertisements_and_nothing_else(self):
        rows = self.of("calm")
        self.assertEqual(tuple(rows), PAGES)
        for page, row in rows.items():
            with self.subTest(page, **row.details):
                self.assertEqual(row.details["trouble"], "")
                self.assertFalse(row.is_harmed())
                self.assertEqual(row.ads_left, 0)
        self.assertGreater(rows["news.example"].ads, 0)
        # Asked for by the page's text, and by one of its scripts alone.
        self.assertGreater(rows["news.example"].items["ad-elements"], 0)
        self.assertGreater(rows["app.example"].blocked, 0)

    def test_what_a_filter_breaks_is_noticed(self):
        rows = self.of("classic")
        self.assertGreater(rows["app.example"].text_lost, 5)
        self.assertGreater(rows["news.example"].pictures_lost, 0)
        self.assertGreater(rows["bank.example"].text_lost, 0)


if __name__ == "__main__":
    unittest.main()
