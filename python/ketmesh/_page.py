# SPDX-License-Identifier: BSD-3-Clause
"""Pages in notebooks."""

from __future__ import annotations

from html import escape

from . import _core


class Page:
    """A mesh as a page. A notebook shows it where it is the last line of a cell; the page stays in the notebook.

    Attributes:
        html: the page, as `Mesh.view` writes it to a file.
        height: of the frame in the notebook, in pixels.
        report: what the job that made it has to say.

    >>> page = ketmesh.read("head_small_tet4.vtu").view()
    >>> page
    <ketmesh.Page: 46924 elements, coloured by subvolume>
    >>> page.height = 800
    """

    def __init__(self, html: str, report: _core.View) -> None:
        self.html = html
        self.height = 600
        self.report = report

    def _repr_html_(self) -> str:
        # The sandbox keeps the page from the notebook, and the notebook's names and variables from the page.
        return (
            f'<iframe title="Mesh" sandbox="allow-scripts allow-downloads" srcdoc="{escape(self.html)}" '
            f'style="width: 100%; height: {self.height}px; border: 0"></iframe>'
        )

    def __repr__(self) -> str:
        return f"<ketmesh.Page: {self.report.shown} elements, coloured by {self.report.color}>"
