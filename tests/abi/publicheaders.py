"""What the public headers declare: classes, their members with access and type, functions, constants, enumerators."""
import dataclasses
import pathlib
import re

ACCESS = re.compile(r"\s*(?:(public|protected|private)(?:\s+Q_SLOTS)?|(Q_SIGNALS))\s*:(?!:)")
SCOPE = re.compile(r"\b(namespace|class|struct|enum)\b(?:\s+class)?((?:\s+\w+_EXPORT|\s+Q_DECL_HIDDEN)*)\s+([\w:]+)")
FUNCTION = re.compile(r"(operator[^\s\w(]+|~?\w+)\s*\(")
VARIABLE = re.compile(r"(\w+)\s*(?:=.*)?$", re.DOTALL)
SPECIFIERS = re.compile(r"\b(?:virtual|static|explicit|extern|inline|constexpr|Q_INVOKABLE|Q_DECL_HIDDEN|\w+_EXPORT)\b")


@dataclasses.dataclass
class Member:
    """A function or a constant. The type is what a function returns; it is empty for constructors and destructors."""
    type: str
    is_private: bool


@dataclasses.dataclass
class Class:
    is_exported: bool
    has_meta_object: bool
    has_virtuals: bool = False


@dataclasses.dataclass
class Scope:
    """A namespace, a class, or with an empty kind the braces of anything else."""
    kind: str
    name: str
    is_private: bool = False


class Declarations:
    """Names are whole: tarvex::Message::uid."""

    def __init__(self, folders):
        self.members = {}  # name: the overloads
        self.classes = {}
        self.enumerators = set()
        self.headers = [path for folder in folders for path in sorted(pathlib.Path(folder).glob("*.h"))
                        if not path.name.endswith("_p.h")]
        for header in self.headers:
            self._read(header.read_text())

    def _read(self, text):
        text = re.sub(r"//[^\n]*|^#(?:[^\n]*\\\n)*[^\n]*", "", text, flags=re.MULTILINE)
        text = re.sub(r"^\s*(?!Q_OBJECT|Q_SIGNALS)Q_[A-Z_]+(?:\([^)\n]*\))?$", "", text, flags=re.MULTILINE)
        scopes = [Scope("namespace", "")]
        for statement, end in re.findall(r"([^;{}]*)([;{}])", text):
            statement = self._take_labels(statement, scopes)
            if scopes[-1].kind == "enum":
                self._enumerate(statement, scopes[-1])
            elif scopes[-1].kind and statement:
                self._take(statement, end, scopes)
            elif end == "{":
                scopes.append(Scope("", ""))
            if end == "}":
                scopes.pop()

    def _take_labels(self, statement, scopes):
        if "Q_OBJECT" in statement:
            self.classes[scopes[-1].name].has_meta_object = True
            statement = statement.replace("Q_OBJECT", "", 1)
        while label := ACCESS.match(statement):
            scopes[-1].is_private = label[1] == "private"
            statement = statement[label.end():]
        return " ".join(statement.split())

    def _take(self, statement, end, scopes):
        scope = scopes[-1]
        opened = SCOPE.match(statement) if end == "{" else None
        if opened:
            scopes.append(self._open(opened, scope))
            return
        if end == "{":
            scopes.append(Scope("", ""))
        if not re.match(r"(using|friend|typedef|class|struct|enum|namespace|return)\b", statement):
            self._declare(statement, scope)

    def _open(self, opened, scope):
        kind, marks, name = opened.groups()
        name = f"{scope.name}::{name}" if scope.name else name
        if kind in ("class", "struct"):
            self.classes[name] = Class("_EXPORT" in marks, has_meta_object=False)
        return Scope(kind, name, is_private=kind == "class" or scope.is_private)

    def _enumerate(self, statement, scope):
        self.enumerators |= {f"{scope.name}::{name}" for name in re.findall(r"(?:^|,)\s*(\w+)", statement)}

    def _declare(self, statement, scope):
        found = FUNCTION.search(statement) or VARIABLE.search(statement)
        is_exported = "_EXPORT" in statement or (scope.name in self.classes and self.classes[scope.name].is_exported)
        if not found or not is_exported or "Q_DECL_HIDDEN" in statement:
            return
        if statement.startswith("virtual "):
            self.classes[scope.name].has_virtuals = True
        type_ = " ".join(SPECIFIERS.sub("", statement[:found.start()]).split())
        name = f"{scope.name}::{found[1]}" if scope.name else found[1]
        self.members.setdefault(name, []).append(Member(type_, scope.is_private))
