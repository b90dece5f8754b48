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
import tempfile
import typing
import xml.etree.ElementTree as ET

import headers

HERE = pathlib.Path(__file__).parent


def run_doxygen(source, names, work, out, version):
    """The reference in out/reference. Returns its tag file, or exits with what is wrong in the headers."""
    mirror = work / "headers"
    for name in names:
        (mirror / name).parent.mkdir(parents=True, exist_ok=True)
        (mirror / name).write_text(headers.prepared(name, (source / name).read_text()))
    top, bottom = (HERE / "page.html").read_text().split("<!-- Doxygen: end of header -->\n")
    (work / "top.html").write_text(top.replace("@chrome@", chrome("../", version)))
    (work / "bottom.html").write_text(bottom.split("<!-- Doxygen: footer -->\n")[1])
    tags = work / "tags.xml"
    def quoted(*values):
        return " ".join(f'"{value}"' for value in values)

    config = (HERE / "Doxyfile").read_text() + "".join(
        f"{key} = {value}\n" for key, value in {
            "PROJECT_NUMBER": version, "OUTPUT_DIRECTORY": quoted(out), "GENERATE_TAGFILE": quoted(tags),
            "INPUT": quoted(HERE / "main.dox", "corvane"), "FILE_PATTERNS": "*.h *.dox", "RECURSIVE": "YES",
            "STRIP_FROM_PATH": ".", "STRIP_FROM_INC_PATH": ".",
            "LAYOUT_FILE": quoted(HERE / "layout.xml"), "HTML_STYLESHEET": quoted(HERE / "site.css"),
            "HTML_HEADER": quoted(work / "top.html"), "HTML_FOOTER": quoted(work / "bottom.html"),
        }.items())
    run = subprocess.run(["doxygen", "-"], cwd=mirror, input=config, capture_output=True, text=True)
    if run.returncode:
        sys.exit(run.stderr.replace(f"{mirror}/", "") or f"doxygen ended with {run.returncode}")
    for file in (out / "reference").iterdir():  # scripts, styles and pictures of menus that are not there
        if file.suffix != ".html":
            file.unlink()
    return ET.parse(tags).getroot()


def chrome(root, version):
    return (f'<header class="site"><a class="brand" href="{root}index.html">Corvane <small>{version}</small></a> '
            f'<a href="{root}index.html">Guide</a> <a href="{root}reference/index.html">Reference</a></header>')


class Symbol(typing.NamedTuple):
    name: str  # with its class
    kind: str
    url: str


def symbols(tags, mirror):
    """All names of the reference, and the pages that are about each header: its own, and those of its classes."""
    found, pages, parts = {}, {}, {}
    for compound in tags:
        kind, name, page = compound.get("kind"), compound.findtext("name"), "reference/" + compound.findtext("filename")
        is_class = kind in ("class", "struct", "union")
        if kind == "file":
            page = page.removesuffix(".html") + ".html"
            name = compound.findtext("path").removeprefix(mirror) + name
            parts[name] = [name, *(part.text for part in compound.findall("class"))]
        pages[name] = page
        if is_class or kind == "file":
            found[page] = Symbol(name.removeprefix("corvane::"), kind if is_class else "header", page)
        scope = f"{name}::".removeprefix("corvane::") if is_class else ""
        for member in compound.findall("member"):
            url = f"reference/{member.findtext('anchorfile')}#{member.findtext('anchor')}"
            if is_class or url not in found:
                found[url] = Symbol(scope + member.findtext("name"), member.get("kind"), url)
    of_header = {header: [pages[name] for name in names if name in pages] for header, names in parts.items()}
    return list(found.values()), of_header


def guide_pages(names):
    """header → pages of the guide, by the table in pages.txt; exits if a header is in no row."""
    of_header = {}
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
        page = re.sub(r"<nav>.*?</nav>", "", page, count=1, flags=re.S)
        page = page.replace("<body>", "<body>\n" + chrome("", version))
        page = page.replace("</head>", '<link rel="stylesheet" href="site.css">\n'
                            '<script src="search.js" defer></script>\n</head>')
        (out / file.name).write_text(page)


def titles(out):
    return {file.name: html.unescape(re.search("<title>(.*?)</title>", file.read_text())[1])
            for file in out.glob("*.html")}


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
        text = re.sub(r" (File|Namespace|Directory) Reference(?=<)", "", text)
        text = re.sub(r'<div class="title">(.*?)(?=<div|<span|</div>)', r'<div class="title"><h1>\1</h1>', text, flags=re.S)
        text = re.sub(r'<div class="summary">.*?</div>', "", text, flags=re.S)
        text = re.sub(r'<img src="closed.png"[^>]*>&#160;| onclick="javascript:[^"]*"', "", text)
        own = guide.get(f"reference/{file.name}", [])
        if own:
            links = ", ".join(f'<a href="../{page}.html">{html.escape(title[page + ".html"])}</a>'
                              for page in dict.fromkeys(own))
            text = text.replace('<div class="contents">', f'<div class="contents">\n<p class="guide">Guide: {links}</p>', 1)
        file.write_text(text)


def plain(markup):
    return " ".join(html.unescape(re.sub("<[^>]*>", " ", markup)).split())


def sections(file):
    """(id, heading, text) of a page of the guide."""
    body = re.search("<main>(.*)</main>", file.read_text(), re.S)[1]
    for part in re.split(r"(?=<h[1-6] )", body):
        heading = re.match(r'<h[1-6] id="([^"]*)">(.*?)</h[1-6]>', part, re.S)
        if heading:
            yield heading[1], plain(heading[2]), plain(part[heading.end():])


def write_index(out, found, title):
    """index.js: [title, where it stands, address, text] of all that can be found."""
    entries = [[symbol.name, symbol.kind, symbol.url, ""] for symbol in found]
    for name in sorted(title):
        for number, (anchor, heading, text) in enumerate(sections(out / name)):
            entries.append([heading, "guide" if number == 0 else title[name], f"{name}#{anchor}", text])
    text = json.dumps(entries, ensure_ascii=False, separators=(",", ":"))
    (out / "index.js").write_text(f"corvaneIndex({text});\n")


def main():
    parser = argparse.ArgumentParser()
    for option in ("version", "source", "guide", "out"):
        parser.add_argument(f"--{option}", required=True, type=str if option == "version" else pathlib.Path)
    parser.add_argument("headers", nargs="+")
    args = parser.parse_args()
    pages = guide_pages(args.headers)
    shutil.rmtree(args.out, ignore_errors=True)
    args.out.mkdir(parents=True)
    with tempfile.TemporaryDirectory() as work:  # Doxygen strips no folders whose names it cannot spell
        tags = run_doxygen(args.source, args.headers, pathlib.Path(work), args.out.resolve(), args.version)
        found, of_header = symbols(tags, f"{work}/headers/")
    unlinked = [name for name in args.headers if name not in of_header]
    if unlinked:
        sys.exit("no page of the reference is about " + ", ".join(unlinked))
    targets = {symbol.name: symbol.url for symbol in reversed(found) if symbol.kind != "header"}
    finish_guide(args.guide, args.out, targets, args.version)
    for name in ("site.css", "search.js"):
        shutil.copy(HERE / name, args.out)
    title = titles(args.out)
    finish_reference(args.out, of_header, pages, title)
    write_index(args.out, found, title)


if __name__ == "__main__":
    main()
