#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-3-Clause
"""Looks whether every link of a site on disk leads somewhere: check_links.py FOLDER.

Follows links from index.html through all pages but those of the reference, whose links among themselves are Doxygen's.
Those in the reference's menu that leave it are looked at too. Links that leave the machine are left alone."""
import html.parser
import pathlib
import re
import sys
import urllib.parse


class Page(html.parser.HTMLParser):
    def __init__(self, path):
        super().__init__()
        self.links, self.anchors = set(), set()
        self.feed(path.read_text(errors="replace"))

    def handle_starttag(self, tag, attributes):
        for name, value in attributes:
            if name in ("href", "src") and value:
                self.links.add(value)
            if name in ("id", "name") and value:
                self.anchors.add(value)


def broken(site):
    pages, ahead = {}, [site / "index.html"]

    def page(path):
        if path not in pages:
            pages[path] = Page(path)
        return pages[path]

    seen = set(ahead)
    while ahead:
        here = ahead.pop()
        for link in sorted(page(here).links):
            target = urllib.parse.urlsplit(link)
            if target.scheme or target.netloc:
                continue
            path = (here.parent / urllib.parse.unquote(target.path)).resolve() if target.path else here
            if not path.is_file():
                yield f"{here.relative_to(site)}: nothing at {link}"
            elif path.suffix == ".html":
                if target.fragment and urllib.parse.unquote(target.fragment) not in page(path).anchors:
                    yield f"{here.relative_to(site)}: no such place as {link}"
                if path not in seen and "reference" not in path.relative_to(site).parts[:1]:
                    seen.add(path)
                    ahead.append(path)
    ways_out = re.findall(r'url:"(\.\./[^"]+)"', (site / "reference/menudata.js").read_text())
    if not ways_out:
        yield "the menu of the reference does not lead back to the guides"
    for link in ways_out:
        if not (site / "reference" / link).is_file():
            yield f"the menu of the reference: nothing at {link}"
    print(f"{len(seen)} pages, {sum(len(p.links) for p in pages.values())} links")


site = pathlib.Path(sys.argv[1]).resolve()
found = list(broken(site))
print("\n".join(found))
sys.exit(bool(found))
