#!/usr/bin/python3
"""README.md quotes two examples, whole and unchanged, the follower first; and the links of all pages lead somewhere.

    readme-test.py SOURCE-DIRECTORY
"""

import itertools
import pathlib
import re
import sys

EXAMPLES = ["examples/follow-terminal-15/main.cpp", "examples/first-client/main.cpp"]

source = pathlib.Path(sys.argv[1])
failures = 0


def fail(text):
    global failures
    failures += 1
    print(text, file=sys.stderr)


def text_of(path):
    return path.read_text(encoding="utf-8")


quoted = re.findall(r"^```cpp\n(.*?)^```$", text_of(source / "README.md"), re.M | re.S)
for example, code in itertools.zip_longest(EXAMPLES, quoted[: len(EXAMPLES)]):
    if code != text_of(source / example):
        fail(f"README.md does not quote {example} as it is, or not in this order: {EXAMPLES}")

for page in [*source.glob("*.md"), *source.glob("docs/**/*.md")]:
    prose = re.sub(r"^```.*?^```$", "", text_of(page), flags=re.M | re.S)
    for target in re.findall(r"\]\(([^)#]+)(?:#[^)]*)?\)", prose):
        if not target.startswith(("http:", "https:")) and not (page.parent / target).exists():
            fail(f"{page.relative_to(source)}: the link to {target} leads nowhere")

sys.exit(1 if failures else 0)
