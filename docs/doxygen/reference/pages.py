"""Turns the Markdown pages of this tree into pages of the site.

Doxygen reads Markdown, with differences: a heading needs a label of its own, a link names the label, and a backslash or
an at sign begins a command. The pages are written for readers of the plain text, so all this is done here. Each line
keeps its number, so that a warning of Doxygen names the right line.
"""
import html
import html.parser
import re

from .wrong import Wrong

FENCE = re.compile(r"( *)(```+|~~~+) *(\w*)[^`]*")
HEADING = re.compile(r"(#+) +(.*?) *#*")
CODE_SPAN = re.compile(r"(?<![\\`])(`+)(?!`)((?:(?!\n\s*\n).)+?)(?<!`)\1(?!`)", re.DOTALL)
IMAGE = re.compile(r"!\[([^\]]*)\]\(([^)\s]+)\)")
LINK = re.compile(r"\[((?:[^\[\]]|\[[^\]]*\])+)\]\(([^)\s]+)\)")
BOLD = re.compile(r"(?<!\\)\*\*((?:[^*\\]|\\.)+)\*\*")
NAME = re.compile(r"\w+(?:::\w+)*(?:\(\))?")
MIN_HEADINGS_OF_A_TABLE_OF_CONTENTS = 3


def anchor(heading):
    """The anchor of a heading, as it is made of it on the web."""
    return re.sub(r"[^\w -]", "", heading.lower()).replace(" ", "-")


def plain(text):
    """A heading without its Markdown."""
    return re.sub(r"\[([^\]]*)\]\([^)]*\)", r"\1", text).replace("`", "").replace("*", "")


def escaped(text):
    """Neither a command of Doxygen nor a name that it would look for."""
    return re.sub(r"[\\@](?=[\w~&$#<>%\".|{}\\@-])|--(?=\w)", r"\\\g<0>", text)


class Section:
    """A heading and what stands below it, without the code."""

    def __init__(self, level, title, label):
        self.level = level
        self.title = title
        self.label = label
        self.lines = []

    @property
    def text(self):
        words = (line.strip(" |-").replace(" | ", ", ") for line in self.lines if not line.lstrip().startswith("<!--"))
        return plain(" ".join(word for word in words if word.strip("|-")))


class Page:
    """One Markdown file."""

    def __init__(self, path):
        self.path = path
        self.name = "index" if path.name == "README.md" else path.stem.lower()
        self.lines = path.read_text().splitlines()
        self.code_lines = set(self.find_code())
        self.sections = []
        self.labels = {}
        self.read_headings()
        if not self.sections:
            raise Wrong(f"{path} has no heading")
        self.title = self.sections[0].title

    @property
    def url(self):
        return f"{self.name}.html"

    def find_code(self):
        """The numbers of the lines that are code: fenced, or indented below a blank line."""
        fence = None
        is_indented = False
        for number, line in enumerate(self.lines):
            match = FENCE.fullmatch(line)
            if fence or match:
                yield number
                if not fence:
                    fence = match[2]
                elif line.strip() == fence:
                    fence = None
                continue
            if line.startswith("    ") and (is_indented or number == 0 or not self.lines[number - 1].strip()):
                is_indented = True
                yield number
            elif line.strip():
                is_indented = False

    def read_headings(self):
        for number, line in enumerate(self.lines):
            heading = HEADING.fullmatch(line) if number not in self.code_lines else None
            if heading:
                name = anchor(heading[2])
                count = 0
                while (name if not count else f"{name}-{count}") in self.labels:
                    count += 1
                name = f"{name}-{count}" if count else name
                label = f"{self.name}-{name}" if self.sections else self.name
                self.labels[name] = label
                self.sections.append(Section(len(heading[1]), plain(heading[2]), label))
            elif self.sections and number not in self.code_lines:
                self.sections[-1].lines.append(line)


class Site:
    """All pages, and the names to which they may link."""

    def __init__(self, paths, root):
        self.root = root
        self.pages = {path.resolve(): Page(path) for path in paths}
        names = [page.name for page in self.pages.values()]
        twice = {name for name in names if names.count(name) > 1}
        if twice:
            raise Wrong(f"two pages would be called {', '.join(sorted(twice))}")
        self.images = set()
        self.names = {}

    def write(self, folder):
        folder.mkdir(parents=True, exist_ok=True)
        for page in self.pages.values():
            (folder / f"{page.name}.md").write_text(self.rendered(page))

    def rendered(self, page):
        """The page as Doxygen is to read it."""
        out = []
        prose = []

        def flush():
            out.extend(self.prose(page, "\n".join(prose)).split("\n") if prose else [])
            prose.clear()

        sections = iter(page.sections)
        for number, line in enumerate(page.lines):
            if number in page.code_lines:
                flush()
                out.append(code_line(line))
            elif HEADING.fullmatch(line):
                flush()
                heading = HEADING.fullmatch(line)
                # No links in headings, because each has a link of its own in the table of contents.
                label = next(sections).label
                # The main page has its label from Doxygen.
                label = f" {{#{label}}}" if label != "index" else ""
                out.append(f"{heading[1]} {escaped(plain(heading[2]))}{label}")
            elif number == 1 and not line and len(page.sections) > MIN_HEADINGS_OF_A_TABLE_OF_CONTENTS and page.name != "index":
                out.append("@tableofcontents{html:2}")
            else:
                prose.append("" if line.lstrip().startswith("<!--") and line.rstrip().endswith("-->") else line)
        flush()
        return "\n".join(fenced(out)) + "\n"

    def prose(self, page, text):
        """Links, pictures and names in the text between two blocks of code."""
        out = []
        end = 0
        # What begins first is found first, so code inside a link is a part of the link.
        pattern = re.compile(f"{CODE_SPAN.pattern}|(?P<image>{IMAGE.pattern})|(?P<link>{LINK.pattern})", re.DOTALL)
        for match in pattern.finditer(text):
            out.append(escaped(text[end:match.start()]))
            if match["image"]:
                out.append(self.image(page, *IMAGE.fullmatch(match["image"]).groups()))
            elif match["link"]:
                out.append(self.link(page, *LINK.fullmatch(match["link"]).groups()))
            else:
                out.append(self.code(match[2]))
            end = match.end()
        return BOLD.sub(r"<b>\1</b>", "".join(out) + escaped(text[end:]))

    def code(self, text):
        """A name of the library is a link to its description."""
        target = self.names.get(text.removesuffix("()")) if NAME.fullmatch(text) else None
        return f'@ref {target} "{text}"' if target else as_code(text)

    def image(self, page, words, target):
        path = (page.path.parent / target).resolve()
        if not path.is_file():
            raise Wrong(f"{page.path.relative_to(self.root)}: there is no {target}")
        self.images.add(path)
        if len({image.name for image in self.images}) < len(self.images):
            raise Wrong(f"{page.path.relative_to(self.root)}: another picture is called {path.name}, too")
        words = words.replace('"', "&quot;")
        return f'<a href="{path.name}" class="picture"><img src="{path.name}" alt="{words}"/></a>'

    def link(self, page, words, target):
        if re.match(r"\w+:", target):
            return f'<a href="{target}">{self.inner(words)}</a>'
        file, _, fragment = target.partition("#")
        path = (page.path.parent / file).resolve() if file else page.path.resolve()
        other = self.pages.get(path)
        if not other:
            if not path.exists():
                raise Wrong(f"{page.path.relative_to(self.root)}: there is no {target}")
            return self.inner(words)  # A file of the tree that is no page.
        if fragment and fragment not in other.labels:
            raise Wrong(f"{page.path.relative_to(self.root)}: {target} is no heading")
        # "see [settings.md](settings.md)" names the file for those who read the text.
        if words == file or words == path.name:
            words = escaped(other.title)
        else:
            words = self.inner(words)
        url = f"{other.url}#{other.labels[fragment]}" if fragment else other.url
        return f'<a href="{url}">{words}</a>'

    @staticmethod
    def inner(words):
        """The words of a link, in which code remains code."""
        end = 0
        out = []
        for span in CODE_SPAN.finditer(words):
            out += [escaped(words[end:span.start()]), as_code(span[2])]
            end = span.end()
        return "".join(out) + escaped(words[end:])


def fenced(lines):
    """Puts fences around code that is indented, in the place of the blank lines around it. Below a list Doxygen would
    take such code for a part of the list's last item."""
    out = [*lines, ""]
    is_fenced = False
    for number, line in enumerate(lines):
        if FENCE.fullmatch(line):
            is_fenced = not is_fenced
        elif not is_fenced and number and is_indented(line) and not out[number - 1] and not continues_list(out, number):
            last = number
            while is_indented(out[last + 1]) or (not out[last + 1] and is_indented("".join(out[last + 2:last + 3]))):
                last += 1
            if not out[last + 1]:
                out[number - 1], out[last + 1] = "```{.unparsed}", "```"
                out[number:last + 1] = [code[4:] for code in out[number:last + 1]]
    return out


def is_indented(line):
    return line.startswith("    ")


def continues_list(lines, number):
    """Whether the paragraph above is part of a list."""
    above = [line for line in lines[:number] if line]
    return bool(above) and bool(re.match(r" |[-*] |\d+\. ", above[-1]))


def as_code(text):
    """Code in a line, with an escape for each character that means something to Doxygen."""
    text = " ".join(text.split()).replace("\\|", "|")
    text = re.sub(r"--+|[\\@$#%|=*_`\[\]()]", r"\\\g<0>", text)
    return "<code>" + html.escape(text, quote=False).replace('"', "&quot;") + "</code>"


def code_line(line):
    """Only C++ and Python are coloured, because Doxygen takes what it does not know for C."""
    match = FENCE.fullmatch(line)
    if not match or not match[3]:
        return line
    language = {"cpp": "{.cpp}", "python": "{.py}"}.get(match[3], "{.unparsed}")
    return f"{match[1]}{match[2]}{language}"


class Text(html.parser.HTMLParser):
    """The text of a page, without blanks."""

    def __init__(self, path):
        super().__init__()
        self.parts = []
        self.feed(path.read_text())
        self.text = without_blanks("".join(self.parts))

    def handle_data(self, data):
        self.parts.append(data)


def without_blanks(text):
    return re.sub(r"\s+", "", text)


def lost_code(page, folder):
    """The code of a page that does not stand on the site, letter by letter."""
    text = Text(folder / page.url).text
    prose = "\n".join("" if number in page.code_lines else line for number, line in enumerate(page.lines))
    spans = [match[2].replace("\\|", "|") for match in CODE_SPAN.finditer(prose)]
    lines = [page.lines[number] for number in page.code_lines if not FENCE.fullmatch(page.lines[number])]
    return [code for code in [*spans, *lines] if without_blanks(code) not in text]


def all_pages(root):
    """The Markdown files that are pages of the site."""
    return [*sorted(root.glob("*.md")), *sorted((root / "docs").glob("*.md"))]
