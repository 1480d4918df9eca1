"""Every relative link and picture of the documents exists, down to the heading that it names.

    check_links.py DOCUMENT...
"""

import os
import re
import sys


def anchors(path):
    with open(path, encoding="utf-8") as file:
        text = re.sub(r"^```.*?^```$", "", file.read(), flags=re.DOTALL | re.MULTILINE)
    headings = re.findall(r"^#+ +(.+?) *$", text, flags=re.MULTILINE)
    return {re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-") for heading in headings}


def main():
    broken, count = [], 0
    for document in sys.argv[1:]:
        with open(document, encoding="utf-8") as file:
            text = re.sub(r"^```.*?^```$", "", file.read(), flags=re.DOTALL | re.MULTILINE)
        for target in re.findall(r"\]\(([^)\s]+)\)", text):
            if re.match(r"[a-z]+:", target):
                continue
            count += 1
            path, _, anchor = target.partition("#")
            path = os.path.normpath(os.path.join(os.path.dirname(document), path)) if path else document
            if not os.path.exists(path) or (anchor and anchor not in anchors(path)):
                broken.append(f"{document}: {target}")
    if broken or count == 0:
        sys.exit("Links that lead nowhere:\n" + "\n".join(broken))
    print(f"{count} links lead somewhere")


main()
