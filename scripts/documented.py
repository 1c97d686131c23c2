"""What the project's pages print, so that they and what tries it cannot part."""

import pathlib
import re
import sys

DOCS = pathlib.Path(__file__).parent.parent / "docs"


def blocks(page, heading, language):
    """The fenced blocks of a language that stand under a heading of a page."""
    here, found = None, []
    for block in re.finditer(r"^```(\w*)\n(.*?)^```$|^#+ ([^\n]*)$", (DOCS / page).read_text("utf-8"),
                             re.MULTILINE | re.DOTALL):
        if block[3]:
            here = block[3]
        elif here == heading and block[1] == language:
            found.append(block[2])
    if not found:
        sys.exit(f"{page}: no {language} under {heading}")
    return found


def put(text, replacements):
    """The text with other words for some of its own, each of which it must have."""
    for old, new in replacements.items():
        if old not in text:
            sys.exit(f"not printed any more: {old}")
        text = text.replace(old, new)
    return text
