# SPDX-License-Identifier: BSD-3-Clause
# The site: every guide of the tree as it stands, and the reference that Doxygen made before.
import os
import pathlib
import re
import xml.etree.ElementTree

from docutils import nodes
from pygments.lexers.special import TextLexer
from sphinx import addnodes

TREE = pathlib.Path(__file__).parents[2]
project = "KetSDK.Mesh"
version = release = re.search(r"project\(KetSDKMesh VERSION (\S+)", (TREE / "CMakeLists.txt").read_text())[1]
author = copyright = "the founders of KetSDK.Mesh"

extensions = ["myst_parser"]
myst_heading_anchors = 3
root_doc = "docs/index"
include_patterns = ["docs/*.md", "docs/concepts/*.md", "README.md", "ARCHITECTURE.md", "CONTRIBUTING.md", "CHANGELOG.md",
                    "bench/README.md", "data/README.md"]
html_theme = "furo"
html_title = f"KetSDK.Mesh {release}"
html_copy_source = False
html_extra_path = ["index.html"]  # at the top of the site, since the pages keep the folders of the tree


def headers():
    """The page of the reference for each public header: of the one class that it declares, or of the file."""
    tags = xml.etree.ElementTree.parse(os.environ["KETSDK_REFERENCE_TAGS"]).getroot()
    pages = {}
    for file in tags.findall("compound[@kind='file']"):
        classes = [c.text for c in file.findall("class") if "::" not in c.text.removeprefix("KetSDK::Mesh::")]
        page = file.findtext("filename")
        if len(classes) == 1:
            page = tags.findtext(f"compound[name='{classes[0]}']/filename") or page
        path = pathlib.Path(file.findtext("path"), file.findtext("name"))
        pages[path.resolve()] = page if page.endswith(".html") else page + ".html"
    return pages


def link_headers(app, doctree):
    """A link to a header of the tree leads to its page of the reference, one to another file to its name."""
    here = TREE / app.env.docname
    up = "../" * app.env.docname.count("/")
    for link in list(doctree.findall(addnodes.download_reference)):
        target = (here.parent / link["reftarget"]).resolve()
        if page := app.reference_pages.get(target):
            link.replace_self(nodes.reference("", "", *link.children, refuri=f"{up}reference/{page}", internal=True))


def setup(app):
    app.reference_pages = headers()
    for language in ("csv", "mermaid"):  # which this Pygments shows as they are
        app.add_lexer(language, TextLexer)
    app.connect("doctree-read", link_headers)
