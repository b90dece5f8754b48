#!/usr/bin/python3
"""The guide as help pages: every page is reached from the index, and every link and picture leads to something."""

import sys
import unittest
from html.parser import HTMLParser
from pathlib import Path
from urllib.parse import unquote, urldefrag

FOLDER = Path(sys.argv.pop(1))


class Page(HTMLParser):
    def __init__(self, path):
        super().__init__()
        self.ids, self.references, self.tags, self.title = set(), [], set(), ""
        self.feed(path.read_text(encoding="utf-8"))

    def handle_starttag(self, tag, attributes):
        self.tags.add(tag)
        for name, value in attributes:
            if name == "id":
                self.ids.add(value)
            elif name in ("href", "src") and not value.startswith(("https:", "http:", "mailto:")):
                self.references.append(unquote(value))

    def handle_data(self, data):
        if self.lasttag == "title":
            self.title += data.strip()


class Guide(unittest.TestCase):
    def test_leads_everywhere(self):
        pages = {path.name: Page(path) for path in FOLDER.glob("*.html")}
        for name, page in pages.items():
            self.assertTrue(page.title, name)
            for reference in page.references:
                file, part = urldefrag(reference)
                target = file or name
                self.assertTrue((FOLDER / target).is_file() and "/" not in target, f"{name}: {reference}")
                if part:
                    self.assertIn(part, pages[target].ids, f"{name}: {reference}")
        # The one page that no other leads to stands in for a reference that was not made.
        self.assertEqual({*pages["index.html"].references, "index.html", "no-reference.html"}, {*pages, "style.css"})
        self.assertLessEqual({"table", "pre", "img"}, set().union(*(page.tags for page in pages.values())))
        self.assertIn("windows", pages["ui.html"].ids)


if __name__ == "__main__":
    unittest.main()
