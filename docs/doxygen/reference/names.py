"""Reads Doxygen's XML of the public headers: which names have no comment, and which classes have no example."""
import pathlib
import xml.etree.ElementTree

MEMBER_KINDS = {"function", "signal", "slot", "variable", "typedef", "enum", "property", "friend", "define"}
CLASS_KINDS = ("class", "struct", "union")
# They are found by the search. No page links them by their names, because "bus" and "tarvex" are words, too.
PLACE_KINDS = ("namespace", "file")


class Name:
    """A name that a service may use."""

    def __init__(self, element, qualified, kind, url, place, owner=None):
        self.qualified = qualified
        self.kind = kind
        self.url = url
        self.place = place
        self.owner = owner
        self.brief = text_of(element.find("briefdescription"))
        detailed = element.find("detaileddescription")
        self.details = text_of(detailed)
        self.has_example = detailed is not None and detailed.find(".//programlisting") is not None

    @property
    def is_described(self):
        return bool(self.brief or self.details)


def text_of(element):
    if element is None:
        return ""
    return " ".join(" ".join(words(element)).split())


def words(element):
    """The text of a description without its code."""
    if element.tag == "programlisting":
        return
    if element.text:
        yield element.text
    for child in element:
        yield from words(child)
        if child.tail:
            yield child.tail


def place_of(element):
    location = element.find("location")
    return f"{location.get('file')}:{location.get('line')}" if location is not None else "?"


def url_of(identifier):
    """An identifier of a member is that of its page and its anchor."""
    page, _, member = identifier.rpartition("_1")
    return f"{page}.html#{member}"


def is_hidden(member, kind):
    """Private, or nothing of which a comment could say more: a destructor, or a function that nobody can call."""
    name = member.findtext("name")
    return (member.get("prot") == "private" or kind not in MEMBER_KINDS or name.startswith("~")
            or member.findtext("argsstring", "").endswith("=delete") or kind == "friend")


def members_of(compound, owner):
    prefix = f"{owner}::" if owner else ""
    for member in compound.iter("memberdef"):
        kind = member.get("kind")
        if is_hidden(member, kind):
            continue
        qualified = prefix + member.findtext("name")
        yield Name(member, qualified, kind, url_of(member.get("id")), place_of(member), owner)
        for value in member.findall("enumvalue"):
            yield Name(value, f"{prefix}{value.findtext('name')}", "enumerator", url_of(value.get("id")), place_of(member), owner)


def read(folder):
    """All public names, the classes among them."""
    names = []
    seen = set()
    for path in sorted(pathlib.Path(folder).glob("*.xml")):
        compound = xml.etree.ElementTree.parse(path).getroot().find("compounddef")
        if compound is None or compound.get("prot") == "private":
            continue
        kind = compound.get("kind")
        owner = compound.findtext("compoundname") if kind in (*CLASS_KINDS, "namespace") else ""
        if kind in CLASS_KINDS:
            namespace = owner.rpartition("::")[0] or None
            names.append(Name(compound, owner, kind, f"{compound.get('id')}.html", place_of(compound), namespace))
        if kind in PLACE_KINDS:
            place = Name(compound, compound.findtext("compoundname"), kind, f"{compound.get('id')}.html", place_of(compound))
            # A header has a page when it has a comment.
            if kind == "namespace" or place.is_described:
                names.append(place)
        if kind in (*CLASS_KINDS, "namespace", "file"):
            for name in members_of(compound, owner):
                # A function of a namespace stands in the namespace and in its file.
                if name.url not in seen:
                    seen.add(name.url)
                    names.append(name)
    return names


def faults(names):
    """What is missing, one finding a line."""
    for name in names:
        if not name.is_described:
            yield f"{name.place}: {name.qualified} ({name.kind}) has no comment"
        elif name.kind in CLASS_KINDS and not name.has_example:
            yield f"{name.place}: {name.qualified} has no example: \\code, quoted from docs/snippets/reference"


def links(names):
    """By what a page may call it, the name that Doxygen knows. A name that means two things is no link."""
    targets = {}
    for name in names:
        if name.kind in PLACE_KINDS:
            continue
        parts = name.qualified.split("::")
        # Neither "open" nor "state" alone is a link: a page names the class as well.
        least = 1 if name.kind in CLASS_KINDS or name.owner in (None, "", "tarvex") else 2
        for length in range(least, len(parts) + 1):
            call = "()" if name.kind in ("function", "signal", "slot") else ""
            targets.setdefault("::".join(parts[-length:]), set()).add(name.qualified + call)
    return {short: long.pop() for short, long in targets.items() if len(long) == 1}
