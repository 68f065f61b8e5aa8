"""Walks a folder of HTML: each link leads to a file that is there, and to an anchor in it."""
import html.parser
import pathlib
import re
import urllib.parse

EXTERNAL = re.compile(r"https?://[\w.-]+\.[a-z]{2,}(:\d+)?(/\S*)?|mailto:[^@\s]+@[\w.-]+|http://(127\.0\.0\.1|localhost)\S*")
LINKS = {"a": "href", "link": "href", "script": "src", "img": "src", "object": "data", "iframe": "src", "area": "href", "source": "src"}


class Reader(html.parser.HTMLParser):
    """What a page links to, and its anchors."""

    def __init__(self):
        super().__init__()
        self.links = []
        self.anchors = set()
        self.titles = 0

    def handle_starttag(self, tag, attributes):
        values = dict(attributes)
        self.anchors.update(value for value in (values.get("id"), values.get("name") if tag == "a" else None) if value)
        target = values.get(LINKS.get(tag, ""))
        if target is not None:
            self.links.append((self.getpos()[0], tag, target))


def read(path):
    reader = Reader()
    reader.feed(path.read_text(errors="replace"))
    return reader


def fault_of(folder, page, tag, target, pages):
    """Why the link leads nowhere, or nothing."""
    url = urllib.parse.urlsplit(target)
    if url.scheme == "javascript":
        return None
    if url.scheme or url.netloc:
        if tag != "a":
            return "is fetched from the network"
        return None if EXTERNAL.fullmatch(target) else "has not the form of a link to another site"
    path = (page.parent / urllib.parse.unquote(url.path)).resolve() if url.path else page
    if not path.is_relative_to(folder):
        return "leads out of the folder"
    if not path.is_file():
        return "is not there"
    fragment = urllib.parse.unquote(url.fragment)
    if fragment and path in pages and fragment not in pages[path].anchors:
        return "has no such anchor"
    return None


def faults(folder, more_links=()):
    """What is wrong, one finding a line. \\a more_links are links that stand in no page, such as those of the search."""
    folder = pathlib.Path(folder).resolve()
    pages = {path: read(path) for path in sorted(folder.rglob("*.html"))}
    if not pages:
        yield f"{folder}: there is no page"
    for page, reader in pages.items():
        for line, tag, target in reader.links:
            why = fault_of(folder, page, tag, target, pages)
            if why:
                yield f"{page.relative_to(folder)}:{line}: {target} {why}"
    for target in more_links:
        why = fault_of(folder, folder / "search", "a", target, pages)
        if why:
            yield f"search: {target} {why}"
