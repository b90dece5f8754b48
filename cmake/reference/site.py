#!/usr/bin/env python3
"""Makes one site of the guide's pages and the reference: links between them, and a search over both.

    site.py --version 1.2.3 --source REPOSITORY --guide FOLDER --out FOLDER HEADER…

The guide's pages are HTML (corvane_documentation). Fails on undocumented members, on references that lead nowhere, and
on headers that no page of the guide is named for.
"""
import argparse
import html
import json
import pathlib
import re
import shutil
import subprocess
import sys
import xml.etree.ElementTree as ET

import headers

HERE = pathlib.Path(__file__).parent


def run_doxygen(source, names, work, out, version):
    """The reference in out/reference. Returns its tag file, or exits with what is wrong in the headers."""
    mirror = work / "headers"
    shutil.rmtree(mirror, ignore_errors=True)
    for name in names:
        (mirror / name).parent.mkdir(parents=True, exist_ok=True)
        (mirror / name).write_text(headers.prepared(name, (source / name).read_text()))
    top, bottom = (HERE / "page.html").read_text().split("<!-- Doxygen: end of header -->\n")
    (work / "top.html").write_text(top.replace("@chrome@", chrome("../", version)))
    (work / "bottom.html").write_text(bottom.split("<!-- Doxygen: footer -->\n")[1])
    tags = work / "tags.xml"
    config = (HERE / "Doxyfile").read_text() + "".join(
        f"{key} = {value}\n" for key, value in {
            "PROJECT_NUMBER": version, "OUTPUT_DIRECTORY": out, "GENERATE_TAGFILE": tags,
            "INPUT": f"{HERE / 'main.dox'} {mirror}", "FILE_PATTERNS": "*.h *.dox", "RECURSIVE": "YES",
            "STRIP_FROM_PATH": mirror, "STRIP_FROM_INC_PATH": mirror, "INCLUDE_PATH": mirror,
            "LAYOUT_FILE": HERE / "layout.xml", "HTML_HEADER": work / "top.html", "HTML_FOOTER": work / "bottom.html",
            "HTML_STYLESHEET": HERE / "site.css",
        }.items())
    shutil.rmtree(out / "reference", ignore_errors=True)
    run = subprocess.run(["doxygen", "-"], input=config, capture_output=True, text=True)
    if run.returncode:
        sys.exit(run.stderr.replace(f"{mirror}/", "") or f"doxygen ended with {run.returncode}")
    for name in ("jquery.js", "dynsections.js", "doxygen.svg", "doxygen.css", "doxygen_crawl.html", "site.css"):
        (out / "reference" / name).unlink(missing_ok=True)
    return ET.parse(tags).getroot()


def chrome(root, version):
    return (f'<header class="site"><a class="brand" href="{root}index.html">Corvane <small>{version}</small></a>'
            f'<a href="{root}index.html">Guide</a><a href="{root}reference/index.html">Reference</a></header>')


class Symbol:
    def __init__(self, name, kind, url, scope=""):
        self.name, self.kind, self.url = name.removeprefix("corvane::"), kind, url
        self.scope = scope.removeprefix("corvane").removeprefix("::")

    @property
    def qualified(self):
        return f"{self.scope}::{self.name}" if self.scope else self.name


def symbols(tags, mirror):
    """All names of the reference, classes before their members, and the page of each header's names."""
    found, of_header = {}, {}
    for compound in tags:
        kind, name = compound.get("kind"), compound.findtext("name")
        page = "reference/" + compound.findtext("filename")
        if kind == "file":
            path = compound.findtext("path").removeprefix(f"{mirror}/") + name
            page += "" if page.endswith(".html") else ".html"
            found[page] = Symbol(path, "header", page)
            of_header.setdefault(path, set()).add(page)
            for part in compound.findall("class"):
                of_header[path].add(part.text)
        elif kind in ("class", "struct", "union"):
            found[page] = Symbol(name, kind, page)
        scope = name if kind in ("class", "struct", "union", "namespace") else ""
        for member in compound.findall("member"):
            url = f"reference/{member.findtext('anchorfile')}#{member.findtext('anchor')}"
            if kind in ("class", "struct", "union", "namespace") or url not in found:
                found[url] = Symbol(member.findtext("name"), member.get("kind"), url, scope)
    pages = {symbol_name(compound): "reference/" + compound.findtext("filename") for compound in tags}
    return list(found.values()), {path: {pages.get(name, name) for name in names} for path, names in of_header.items()}


def symbol_name(compound):
    return compound.findtext("name")


def guide_pages(names):
    """header → pages of the guide, by the table in pages.txt; exits if a header is in no row."""
    of_header, pages = {}, []
    for line in (HERE / "pages.txt").read_text().splitlines():
        if line and not line.startswith("#"):
            page, *patterns = line.split()
            for name in names:
                if any(pathlib.PurePath(name).match(pattern) for pattern in patterns):
                    of_header.setdefault(name, []).append(page)
    missing = [name for name in names if name not in of_header]
    if missing:
        sys.exit(f"{HERE / 'pages.txt'}: no page of the guide for " + ", ".join(missing))
    return of_header


def link_to_reference(page, targets):
    """Names of classes, functions and members become links, once a section."""
    seen = set()

    def replace(match):
        if match["section"]:
            seen.clear()
        if not match["name"]:
            return match[0]
        name = html.unescape(match["name"]).removeprefix("corvane::")
        name = name[:name.index("(")] if "(" in name and name.endswith(")") else name
        if name not in targets or name in seen:
            return match[0]
        seen.add(name)
        return f'<a href="{targets[name]}">{match[0]}</a>'

    parts = r"(?P<section><h[1-6])|<pre\b.*?</pre>|<a\b.*?</a>|<code>(?P<name>[^<]*)</code>"
    return re.sub(parts, replace, page, flags=re.S)


def finish_guide(guide, out, targets, version):
    for file in guide.iterdir():
        if file.suffix != ".html":
            shutil.copy(file, out)
            continue
        page = link_to_reference(file.read_text(), targets)
        page = re.sub(r"<nav>.*?</nav>", "", page, count=1, flags=re.S).replace("<body>", "<body>\n" + chrome("", version))
        page = page.replace("</head>", '<link rel="stylesheet" href="site.css">\n'
                            '<script src="search.js" defer></script>\n</head>')
        (out / file.name).write_text(page)


def titles(out):
    return {file.name: html.unescape(re.search("<title>(.*?)</title>", file.read_text())[1]) for file in out.glob("*.html")}


def finish_reference(out, of_header, pages, title):
    """Each page says which pages of the guide are about it."""
    guide = {}
    for header, places in of_header.items():
        for place in places:
            for page in pages.get(header, []):
                guide.setdefault(place, []).append(page)
    for file in (out / "reference").glob("*-members.html"):
        file.unlink()
    for file in (out / "reference").glob("*.html"):
        text = file.read_text().replace('<h2 class="groupheader">Detailed Description</h2>', "")
        text = text.replace(' style="display:none;"', "")
        text = re.sub(r'<div class="summary">.*?</div>', "", text, flags=re.S)
        text = re.sub(r'<img src="closed.png"[^>]*>&#160;| onclick="javascript:[^"]*"', "", text)
        own = guide.get(f"reference/{file.name}", [])
        if own:
            links = ", ".join(f'<a href="../{page}.html">{html.escape(title[page + ".html"])}</a>' for page in dict.fromkeys(own))
            text = text.replace('<div class="contents">', f'<div class="contents">\n<p class="guide">Guide: {links}</p>', 1)
        file.write_text(text)


def sections(file):
    """(id, heading, text) of a page of the guide."""
    body = re.search("<main>(.*)</main>", file.read_text(), re.S)[1]
    for part in re.split(r"(?=<h[1-6] )", body):
        heading = re.match(r'<h[1-6] id="([^"]*)">(.*?)</h[1-6]>', part, re.S)
        if heading:
            text = lambda markup: " ".join(html.unescape(re.sub("<[^>]*>", " ", markup)).split())
            yield heading[1], text(heading[2]), text(part[heading.end():])


def write_index(out, found, title):
    """index.js: [title, where it stands, address, text] of all that can be found."""
    entries = [[symbol.qualified, symbol.kind, symbol.url, ""] for symbol in found]
    for name in sorted(title):
        for number, (anchor, heading, text) in enumerate(sections(out / name)):
            entries.append([heading, "guide" if number == 0 else title[name], f"{name}#{anchor}", text])
    (out / "index.js").write_text("corvaneIndex(" + json.dumps(entries, ensure_ascii=False, separators=(",", ":")) + ");\n")


def main():
    parser = argparse.ArgumentParser()
    for option in ("version", "source", "guide", "out"):
        parser.add_argument(f"--{option}", required=True, type=str if option == "version" else pathlib.Path)
    parser.add_argument("headers", nargs="+")
    args = parser.parse_args()
    pages = guide_pages(args.headers)
    work = args.out.parent / (args.out.name + ".work")
    for folder in (work, args.out):
        shutil.rmtree(folder, ignore_errors=True)
        folder.mkdir(parents=True)
    found, of_header = symbols(run_doxygen(args.source, args.headers, work, args.out, args.version), work / "headers")
    targets = {symbol.qualified: symbol.url for symbol in reversed(found) if symbol.kind != "header"}
    finish_guide(args.guide, args.out, targets, args.version)
    for name in ("site.css", "search.js"):
        shutil.copy(HERE / name, args.out)
    title = titles(args.out)
    finish_reference(args.out, of_header, pages, title)
    write_index(args.out, found, title)


if __name__ == "__main__":
    main()
