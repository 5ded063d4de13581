#!/usr/bin/python3
"""Usage: lint_documents.py DOCUMENT...

Checks Markdown documents: relative links and their anchors, and that code blocks marked "sh" parse.
"""
import os
import re
import subprocess
import sys
import textwrap

Block = re.compile(r"^( *)```(\w*)\n(.*?)^\1```$", re.M | re.S)


def text_of(document):
    with open(document, encoding="utf-8") as file:
        return file.read()


def anchors(document):
    """Of the headings, as GitHub and packaging/document.awk make them."""
    headings = re.findall(r"^#+ (.*)$", Block.sub("", text_of(document)), re.M)
    return {re.sub(r"[^a-z0-9 _-]", "", heading.lower()).replace(" ", "-") for heading in headings}


def faults(document):
    text = text_of(document)
    for link in re.findall(r"\]\(([^)\s]+)\)", re.sub(r"`[^`\n]*`", "", Block.sub("", text))):
        if re.match(r"[a-z]+:", link):
            continue
        path, _, anchor = link.partition("#")
        path = os.path.normpath(os.path.join(os.path.dirname(document), path)) if path else document
        if not os.path.exists(path):
            yield f"the link {link} leads nowhere"
        elif anchor and anchor not in anchors(path):
            yield f"the link {link} names no heading of {path}"
    for _, language, code in Block.findall(text):
        if language == "sh":
            checked = subprocess.run(["bash", "-n"], input=textwrap.dedent(code), text=True,
                                     capture_output=True, check=False)
            if checked.returncode:
                yield f"a block does not parse: {checked.stderr.strip()}\n{code.rstrip()}"


found = [f"{document}: {fault}" for document in sys.argv[1:] for fault in faults(document)]
print("\n".join(found), end="\n" if found else "")
sys.exit(bool(found))
