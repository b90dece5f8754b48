"""Prepares the public headers for Doxygen.

In the house style a comment describes all declarations below it, up to the next blank line or comment; here it is
repeated for each of them. What only Qt or the backend calls is left out, and each header joins its library's group.
Lines keep their numbers.
"""
import re

SCOPE = re.compile(r"\s*(?:typedef )?(?:class|struct|union|enum|namespace|extern)\b|\s*template <[^()]*> (?:class|struct)\b")
COMMENT = re.compile(r"\s*(///(?!<)|/\*\*|\*)")

# What needs no words in the headers.
SELF_EXPLANATORY = [
    (re.compile(r"operator==\(.* = default;"), "Whether all members are equal."),
    (re.compile(r"^\s*(?:CORVANE_API )?(\w+)\(const \1&.*;$"), "A copy."),
    (re.compile(r"^\s*(?:CORVANE_API )?(\w+)\(\1&&.*;$"), "Takes over what the other holds."),
    (re.compile(r"operator=\(const \w+&.*;$"), "Becomes a copy of the other."),
    (re.compile(r"operator=\(\w+&&.*;$"), "Gives up what it holds for what the other holds."),
]


def group(path):
    """The group of a header: its folder in corvane/."""
    return path.split("/")[1] if path.count("/") > 1 else "core"


def prepared(path, text):
    text = re.sub(r"^template <>\nCORVANE_API [^;]*makeService<[^;]*;$", "\n", text, flags=re.M)
    if group(path) == "ui":
        text = re.sub(r"^ [^\n/]* override;$", "", text, flags=re.M)
    # A comment that nothing follows directly is about the file.
    name = path.rsplit("/", 1)[1]
    text = re.sub(r"(?<=#pragma once\n\n)(///|/\*\*) (?=(?:.+\n)+\n)", rf"\1 @file {name} ", text)
    lines = list(with_comments(text.split("\n"), "Not filled: zero." if name == "records.h" else ""))
    lines[lines.index("#pragma once") + 1] = f"/** @file {path} */"
    begin, end = f" /** @addtogroup {group(path)} */ /** @{{ */", "/** @} */ "
    if "namespace corvane {" in lines:
        lines[lines.index("namespace corvane {")] += begin
        lines[lines.index("}  // namespace corvane")] = end + "}"
    else:
        lines[lines.index("#pragma once") + 1] += begin
        lines[-1] += end
    return "\n".join(lines)


def with_comments(lines, otherwise):
    """The lines, with a comment for each declaration: its own, the one above its block, or the third choice."""
    comment = []  # the one in force
    above = False  # whether nothing came after it yet
    unfinished = False  # whether this line begins inside a comment behind a declaration
    depth = 0  # of braces
    body = None  # the depth outside the function whose body this is
    begins = True  # whether a declaration may begin here
    for line in lines:
        if body is None and not unfinished and COMMENT.match(line):
            text = re.sub(r"^\s*(?:///|/\*\*|\*(?!/))|\*/\s*$", "", line).strip()
            comment = [*comment, text] if above else [text]
            above = True
            yield line
            continue
        if unfinished:
            unfinished = "*/" not in line
            yield line
            continue
        unfinished = "/*" in line and "*/" not in line
        code = re.sub(r"//.*|/\*.*?(\*/|$)", "", line).rstrip()
        if not code and body is None:
            comment, above = [], False
        elif begins and not above and is_bare(line, code):
            known = next((words for rule, words in SELF_EXPLANATORY if rule.search(code)), None)
            line = with_words(line, known or " ".join(comment) or otherwise)
        above = above and not code
        outside, depth = depth, depth + code.count("{") - code.count("}")
        if body is not None:
            body = None if depth <= body else body
        elif depth > outside and begins and not SCOPE.match(code):
            body = outside
        elif depth > outside:
            comment = []
        if code and not line.startswith("#"):
            begins = body is None and code[-1] in ";{}:"
        yield line


def is_bare(line, code):
    """Whether a declaration begins in this line that has no comment behind it, and may have one."""
    return not (re.search(r"(///|/\*\*)<", line) or re.match(r"\s*(?:}|#(?!define)|$)", code) or "~" in code or "= delete" in code)


def with_words(line, words):
    if not words:
        return line
    return f"{line}  ///< {words}" if line.startswith("#") else f"/** {words} */ {line}"
