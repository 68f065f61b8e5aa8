"""The index of the search: each section of each page, and each public name. lunr.js reads it in the browser."""
import html
import json
import re

from lunr.builder import Builder
from lunr.stop_word_filter import stop_word_filter
from lunr.trimmer import trimmer

KINDS = {"function": "function", "signal": "signal", "slot": "slot", "class": "class", "struct": "class",
         "enumerator": "value", "enum": "enumeration", "variable": "variable", "typedef": "type", "file": "header"}
SHOWN_LENGTH = 160


def parts_of(name):
    """TarvexQueryHandler::loadSettings can be found by "settings", too."""
    spaced = re.sub(r"(?<=[a-z0-9])(?=[A-Z])|[_:]+", " ", name)
    return f"{name} {name.split('::')[-1]} {spaced}"


def entries(site, names):
    for page in site.pages.values():
        for section in page.sections:
            is_page = section is page.sections[0]
            url = page.url if is_page else f"{page.url}#{section.label}"
            yield {"title": section.title, "place": "" if is_page else page.title, "kind": "page", "url": url,
                   "words": section.title, "text": section.text}
    for name in names:
        yield {"title": name.qualified.split("::")[-1], "place": name.owner or "", "kind": KINDS.get(name.kind, name.kind),
               "url": name.url, "words": parts_of(name.qualified), "text": f"{name.brief} {name.details}".strip()}


def built_index(documents):
    """Without the stems of words that lunr keeps by default: who types "loadSettin" looks for "loadsettings", which would
    be in the index as "loadset"."""
    builder = Builder()
    builder.pipeline.add(trimmer, stop_word_filter)
    builder.ref("id")
    builder.field("words", boost=8)
    builder.field("text")
    for document in documents:
        builder.add(document)
    return builder.build()


def write(folder, site, names):
    """Writes search-index.js. Returns the links of all entries."""
    found = list(entries(site, names))
    documents = [{"id": number, "words": entry["words"], "text": entry["text"]} for number, entry in enumerate(found)]
    index = built_index(documents)
    shown = [[entry["title"], entry["place"], entry["kind"], entry["url"], html.unescape(entry["text"])[:SHOWN_LENGTH]]
             for entry in found]
    # A script and not JSON, because a browser loads no JSON from a page that was opened as a file.
    content = json.dumps({"index": index.serialize(), "entries": shown}, ensure_ascii=False, separators=(",", ":"))
    (folder / "search-index.js").write_text(f"window.searchIndex = {content};\n")
    return [entry["url"] for entry in found]
