"""The navigation of the site: the pages in the groups of navigation.txt, and the classes as docs/headers.md lists them."""
import html
import re

from .names import CLASS_KINDS
from .wrong import Wrong

ROW = re.compile(r"\| `([\w/]+)\.h` \| (.*?) \| .*\|")


def groups_of_pages(text, pages):
    """A group is a line "[Title]" and below it the names of its pages. A page that stands nowhere comes last."""
    by_name = {page.name: page for page in pages}
    groups = []
    for line in text.splitlines():
        line = line.split("#")[0].strip()
        if line.startswith("["):
            groups.append((line.strip("[]"), []))
        elif line:
            if line not in by_name:
                raise Wrong(f"docs/doxygen/navigation.txt: there is no page '{line}'")
            page = by_name.pop(line)
            groups[-1][1].append((page.title, page.url))
    by_name.pop("index", None)
    if by_name:
        groups.append(("More", [(page.title, page.url) for page in by_name.values()]))
    return groups


def groups_of_classes(headers_page, names):
    """One group for each library."""
    urls = {name.qualified.split("::")[-1]: name.url for name in names if name.kind in CLASS_KINDS}
    groups = []
    for part in re.split(r"^## ", headers_page, flags=re.MULTILINE)[1:]:
        title = part.splitlines()[0].removeprefix("The ")
        entries = []
        for header, cell in ROW.findall(part):
            short = [name.split("::")[-1] for name in re.findall(r"`([^`]+)`", cell)]
            entries += [(name, urls[name]) for name in short if name in urls]
            # What is no class stands on the page of its header.
            if not short or not all(name in urls for name in short):
                file = header.split("/")[-1]
                entries.append((f"{file}.h", f"{file}_8h.html"))
        groups.append((title[0].upper() + title[1:], entries))
    return groups


def as_html(groups, prefix):
    out = []
    for title, entries in groups:
        out.append(f"<h2>{html.escape(title)}</h2>\n<ul>\n")
        out += [f'<li><a href="{prefix}{url}">{breakable(text)}</a></li>\n' for text, url in entries]
        out.append("</ul>\n")
    return "".join(out)


def breakable(text):
    """A long name may break before its inner capitals."""
    return html.escape(text) if " " in text else re.sub(r"(?<=[a-z])(?=[A-Z])", "<wbr>", html.escape(text))
