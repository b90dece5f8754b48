#!/usr/bin/env python3
"""Fails on links that lead nowhere: in all Markdown files, or in the HTML files of a folder, anchors included. Every page
of the guide must be in its index.

    links.py [FOLDER]

Links to other machines are not followed.
"""
import html.parser
import pathlib
import re
import subprocess
import sys
import urllib.parse

ROOT = pathlib.Path(__file__).parents[2]


class Page(html.parser.HTMLParser):
    """The links and the anchors of an HTML file."""

    def __init__(self, path):
        super().__init__()
        self.links, self.anchors = [], set()
        self.feed(path.read_text())

    def handle_starttag(self, tag, attributes):
        for name, value in attributes:
            if name in ("href", "src"):
                self.links.append(value or "")
            elif name == "id" or (name == "name" and tag == "a"):
                self.anchors.add(value)


class Text:
    """The same of a Markdown file; anchors are the headings' as on GitHub."""

    def __init__(self, path):
        text = re.sub(r"^(```|~~~).*?^\1", "", path.read_text(), flags=re.M | re.S)
        self.anchors = set()
        for heading in re.findall(r"^#+ (.*)$", text, re.M):
            words = re.sub(r"[^\w\- ]", "", re.sub(r"\]\(.*?\)", "", heading).lower()).strip()
            self.anchors.add(words.replace(" ", "-"))
        prose = re.sub(r"(`+)(?!`).*?(?<!`)\1(?!`)", "code", text, flags=re.S)
        self.links = re.findall(r"\]\(([^)\s]+)\)", prose) + re.findall(r'<img [^>]*src="([^"]*)"', prose)


def broken(files, read):
    """(file, link) of what leads nowhere, and how many links there are."""
    pages = {path.resolve(): read(path) for path in files}
    count, wrong = 0, []
    for path, page in pages.items():
        for link in page.links:
            parts = urllib.parse.urlsplit(link)
            if parts.scheme or parts.netloc:
                continue
            count += 1
            target = (path.parent / urllib.parse.unquote(parts.path)).resolve() if parts.path else path
            anchors = pages[target].anchors if target in pages else None
            if not target.exists() or (parts.fragment and anchors is not None
                                       and urllib.parse.unquote(parts.fragment) not in anchors):
                wrong.append((path, link))
    return wrong, count


def main():
    if len(sys.argv) > 1:
        wrong, count = broken(pathlib.Path(sys.argv[1]).rglob("*.html"), Page)
    else:
        names = subprocess.run(["git", "ls-files", "-co", "--exclude-standard", "*.md"], cwd=ROOT, check=True,
                               capture_output=True, text=True).stdout.splitlines()
        wrong, count = broken([ROOT / name for name in names if (ROOT / name).exists()], Text)
        index = ROOT / "docs/index.md"
        listed = Text(index).links
        wrong += [(index, page.name) for page in index.parent.glob("*.md") if page != index and page.name not in listed]
    for path, link in wrong:
        print(f"{path}: {link} leads nowhere, or is missing")
    if wrong or not count:
        sys.exit(f"{len(wrong)} of {count} links are wrong")
    print(f"{count} links")


if __name__ == "__main__":
    main()
