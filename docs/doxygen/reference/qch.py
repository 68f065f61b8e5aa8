"""Opens a help file as Qt Assistant does: it is a database, which names its namespace, its files and its keywords."""
import contextlib
import sqlite3


def faults(path, namespace, keywords):
    """What is missing, one finding a line."""
    try:
        with contextlib.closing(sqlite3.connect(f"file:{path}?mode=ro", uri=True)) as database:
            found = {row[0] for row in database.execute("SELECT Name FROM NamespaceTable")}
            files = {row[0] for row in database.execute("SELECT Name FROM FileNameTable")}
            names = {row[0] for row in database.execute("SELECT Name FROM IndexTable")}
            empty = [row[0] for row in database.execute("SELECT Name FROM FileNameTable, FileDataTable "
                                                        "WHERE FileNameTable.FileId = FileDataTable.Id AND length(Data) = 0")]
    except sqlite3.Error as error:
        yield f"{path}: {error}"
        return
    if found != {namespace}:
        yield f"{path}: its namespace is {', '.join(sorted(found)) or 'missing'}, not {namespace}"
    if "index.html" not in files:
        yield f"{path}: it has no index.html"
    yield from (f"{path}: {name} is empty" for name in empty)
    yield from (f"{path}: {name} is no keyword" for name in keywords if name not in names)
