"""Reads a tutorial page as its reader does: which files to write, what to type, and what then appears.

Lines in HTML comments say what a code block is. They stand above it:

    <!-- file: PATH -->       The block goes into the file. Further blocks of the same file go behind it, each after a
                              blank line. PATH is relative to the folder in which the reader is.
    <!-- run -->              Commands, each behind "$ ", and below each what appears. Each must succeed.
    <!-- run: background -->  One such command in a terminal of its own. What stands below it appears there.
    <!-- run: root -->        Commands behind "# ", typed by root in the folder of the packages.
    <!-- see: COMMAND -->     What appears next in the terminal of a command that runs in the background.

    <!-- stop -->             No block: Ctrl+C in all terminals of their own, the last first.

A line "..." stands for any lines, and "..." at the end of a line for the rest of it. Times, identifiers and blanks at the
end of a line may differ. If nothing stands below a command, anything may appear. A command goes on in the next line after
a backslash.
"""
import dataclasses
import re

MARK = re.compile(r"<!-- (?P<word>file|run|see|stop)(?:: (?P<what>.+?))? -->")
QUOTE = re.compile(r"<!-- quote: .* -->")
FENCE = re.compile(r"```+|~~~+")
PROMPTS = {"": "$ ", "background": "$ ", "root": "# "}
# What may differ from one time to the next: a date-time, a time that something took, an identifier.
CHANGING = re.compile(r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}|\d+\.\d+(?= (?:s|ms|sec)\b)|\b\d{10,}\b|[\w+/]{22}==")
ANY_LINES = "..."


class PageError(Exception):
    """What is wrong with the page, with the number of the line."""


@dataclasses.dataclass
class Step:
    kind: str  # "file", "run", "background", "root", "see" or "stop"
    line: int
    what: str = ""  # the path of the file, the command, or the command whose terminal is looked at
    text: list = dataclasses.field(default_factory=list)  # the lines of the file, or those that appear


def steps_of(page):
    """The steps of the page's text, in their order. Pieces of one file are one step, at the place of the first."""
    steps = []
    for mark, number, block in marked_blocks(page.splitlines()):
        word, what = mark["word"], mark["what"] or ""
        if word == "run":
            steps += commands(what, number, block)
        else:
            steps.append(Step(word, number, what, block))
    return joined(steps)


def marked_blocks(lines):
    """Yields each mark with the number of the line behind it and the lines of the block below it."""
    number = 0
    while number < len(lines):
        mark = MARK.fullmatch(lines[number])
        if not mark and re.match(r"<!-- (file|run|see|stop)\b", lines[number]):
            raise PageError(f"line {number + 1}: this is no mark of the tutorial: {lines[number]}")
        number += 1
        if not mark:
            # What stands in a block is no mark.
            if FENCE.match(lines[number - 1]):
                _, number = block_at(lines, number - 1)
            continue
        check(mark, number)
        if mark["word"] == "stop":
            yield mark, number, []
            continue
        first = number + 1 if number < len(lines) and QUOTE.fullmatch(lines[number]) else number
        if first >= len(lines) or not FENCE.match(lines[first]):
            raise PageError(f"line {number}: there is no code block below this mark")
        block, end = block_at(lines, first)
        yield mark, first + 1, block
        number = end


def check(mark, number):
    word, what = mark["word"], mark["what"] or ""
    if word == "run" and what not in PROMPTS:
        raise PageError(f"line {number}: there is no way to run '{what}'; there are background and root")
    if word in ("file", "see") and not what:
        raise PageError(f"line {number}: '{word}' needs a name")
    if word == "stop" and what:
        raise PageError(f"line {number}: 'stop' takes no name")


def block_at(lines, first):
    """The lines of the block whose first fence is the line \\a first, and the number of the line after it."""
    marks = FENCE.match(lines[first])[0]
    for end in range(first + 1, len(lines)):
        if lines[end].strip() == marks:
            return lines[first + 1:end], end + 1
    raise PageError(f"line {first + 1}: this block has no end")


def commands(way, number, block):
    """The steps of a block of commands."""
    prompt = PROMPTS[way]
    steps = []
    goes_on = False
    for offset, line in enumerate(block):
        if goes_on:
            steps[-1].what += "\n" + line
        elif line.startswith(prompt):
            steps.append(Step(way or "run", number + offset + 1, line[len(prompt):]))
        elif steps:
            steps[-1].text.append(line)
            continue
        else:
            raise PageError(f"line {number + offset + 1}: a block of commands begins with '{prompt}'")
        goes_on = line.endswith("\\")
    if not steps or (way == "background" and len(steps) > 1):
        raise PageError(f"line {number}: {'one command has a terminal of its own' if steps else 'here is no command'}")
    return steps


def joined(steps):
    """The steps with the pieces of each file put together."""
    files = {}
    result = []
    for step in steps:
        if step.kind == "file" and step.what in files:
            files[step.what].text += ["", *step.text]
            continue
        if step.kind == "file":
            files[step.what] = step
        result.append(step)
    return result


def line_pattern(line):
    """What a line of the output must be so that it is the line of the page."""
    line = line.rstrip()
    is_begun = line.endswith("...")
    parts = CHANGING.split(line.removesuffix("..."))
    changing = [any_of(text) for text in CHANGING.findall(line)]
    pattern = "".join(re.escape(part) + other for part, other in zip(parts, [*changing, ""]))
    return re.compile(pattern + (".*" if is_begun else r"\s*"))


def any_of(text):
    """The pattern of all that may stand for such a text."""
    if "T" in text and "-" in text:
        return r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}"
    if text.endswith("=="):
        return "[A-Za-z0-9+/_-]{22}=="
    return r"\d+\.\d+" if "." in text else r"\d+"


class Expected:
    """Compares lines that appear one by one with those of the page."""

    def __init__(self, lines):
        self.missing = [line for line in lines if line.strip()]
        self.wrong = None  # the first line that appeared in place of another

    def take(self, line):
        """Compares the next line that has appeared. Blank lines do not count."""
        if not line.strip() or self.wrong is not None:
            return
        skips = bool(self.missing) and self.missing[0] == ANY_LINES
        if skips and len(self.missing) == 1:
            return
        if self.missing and line_pattern(self.missing[skips]).fullmatch(line.rstrip()):
            del self.missing[:skips + 1]
        elif not skips:
            self.wrong = line

    def next(self):
        """The line of the page that has not appeared; nothing when all have."""
        return next((line for line in self.missing if line != ANY_LINES), None)
