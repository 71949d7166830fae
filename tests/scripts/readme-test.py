#!/usr/bin/python3
"""README.md quotes examples/first-client/main.cpp, whole and unchanged; and its links lead somewhere.

    readme-test.py SOURCE-DIRECTORY
"""

import pathlib
import re
import sys

source = pathlib.Path(sys.argv[1])
failures = 0


def fail(text):
    global failures
    failures += 1
    print(text, file=sys.stderr)


example = (source / "examples/first-client/main.cpp").read_text(encoding="utf-8")
quoted = re.findall(r"^```cpp\n(.*?)^```$", (source / "README.md").read_text(encoding="utf-8"), re.M | re.S)
if example not in quoted:
    fail("README.md does not quote examples/first-client/main.cpp as it is")

for page in [*source.glob("*.md"), *source.glob("docs/**/*.md")]:
    for target in re.findall(r"\]\(([^)#]+)(?:#[^)]*)?\)", page.read_text(encoding="utf-8")):
        if not target.startswith(("http:", "https:")) and not (page.parent / target).exists():
            fail(f"{page.relative_to(source)}: the link to {target} leads nowhere")

sys.exit(1 if failures else 0)
