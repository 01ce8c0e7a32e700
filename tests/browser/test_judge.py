"""The lines in which ./run pages asks another program what is an advertisement (--judge)."""

import pathlib
import sys
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.append(str(ROOT / "tools" / "pages"))

from ad_judge import AdJudges  # noqa: E402

# Answers as `velmora ads --batch` does, by what it was asked; ends when it is asked about the end.
JUDGE = r"""
import sys
for line in sys.stdin:
    kind, page, url = line.rstrip("\n").split("\t")
    if "end." in url:
        break
    ad = page != url and "ads." in url and kind in ("script", "image")
    word = "allowed" if "wanted" in url else "blocked" if ad else "nonsense" if "odd." in url else "none"
    print(word, "||ads.example^", sep="\t", flush=True)
"""
PAGE = "https://news.example/"


class Judge(unittest.TestCase):
    def judges(self, *programs):
        judges = AdJudges([sys.executable, "-c", program] for program in programs)
        self.addCleanup(judges.stop)
        return judges

    def setUp(self):
        self.judge = self.judges(JUDGE)

    def test_type_page_and_url_are_asked_and_blocked_alone_is_an_advertisement(self):
        for question, is_ad in (
            (("script", PAGE, "https://ads.example/a.js"), True),
            (("image", PAGE, "https://ads.example/a.gif"), True),
            (("document", PAGE, "https://ads.example/"), False),
            (("script", PAGE, "https://ads.example/wanted.js"), False),
            (("script", PAGE, "https://news.example/a.js"), False),
        ):
            with self.subTest(question):
                self.assertEqual(self.judge.blocks(*question), is_ad)
        self.assertTrue(self.judge.is_ad_host("ads.example"))
        self.assertFalse(self.judge.is_ad_host("news.example"))

    def test_of_several_one_is_enough(self):
        both = self.judges(JUDGE.replace("ads.", "none."), JUDGE)
        self.assertTrue(both.blocks("script", PAGE, "https://ads.example/a.js"))
        self.assertFalse(both.blocks("script", PAGE, "https://news.example/a.js"))

    def test_a_judge_that_ends_or_says_something_else_is_an_error(self):
        for host, message in (("odd", 'said "nonsense'), ("end", "ended"), ("news", "ended")):
            with self.subTest(host), self.assertRaisesRegex(OSError, message):
                self.judge.blocks("script", PAGE, f"https://{host}.example/")


if __name__ == "__main__":
    unittest.main()
