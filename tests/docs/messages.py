"""Usage: messages.py SOURCE_FOLDER PAGE: every message of the launcher is on the troubleshooting page.

A message is a text that is given to one of the functions below, a reason that another one returns
for a message, which begins with a blank, or a row of the catalogue with a name of its own; its fixed
pieces have to be on the page, with the constants in it.
"""
import pathlib
import re
import sys

CALL = re.compile(r"(?:(?:FatalError|printConsole|Logging::Info|ChildProcess::fail|\bend)\(|writeLine\(stdout,)\s*(.*?)\);",
                  re.S)
REASON = re.compile(r'return (" \w+ [^"]+");')
NAMED_ROW = re.compile(r"\{message::\w+,\s*(.*?)\}", re.S)
CONSTANT = re.compile(r"\bconstexpr [\w:]+ (\w+) = (\d+);")
INSERTED = re.compile(r'",\s*std::to_string\((\w+)\),\s*"')
TEXT = re.compile(r'"((?:[^"\\]|\\.)*)"')
SHORTEST_PIECE = 12
NO_COMPLAINTS = {"you must set more one arg as NULL", "application.processid="}


def messages(folder):
    constants = {}
    for path in pathlib.Path(folder).rglob("*.h"):
        constants.update(CONSTANT.findall(path.read_text()))
    for path in pathlib.Path(folder).rglob("*.cpp"):
        # The checker has messages of its own.
        if "kvf" in path.parts:
            continue
        source = re.sub(r"^\s*//.*$", "", path.read_text(), flags=re.M)
        for call in [match for pattern in (CALL, REASON, NAMED_ROW) for match in pattern.finditer(source)]:
            # Neighbouring literals are one text.
            joined = re.sub(r'"\s*\n\s*"', "", call[1])
            joined = INSERTED.sub(lambda number: constants.get(number[1], "%d"), joined)
            for text in TEXT.findall(joined):
                for piece in re.split(r"%[sd]|\\n", text.replace('\\"', '"')):
                    if len(piece.strip()) >= SHORTEST_PIECE and piece not in NO_COMPLAINTS:
                        yield path, piece.strip(' "')


def main():
    page = re.sub(r"\s+", " ", pathlib.Path(sys.argv[2]).read_text())
    found = list(messages(sys.argv[1]))
    missing = [f"{path}: {piece}" for path, piece in found if re.sub(r"\s+", " ", piece) not in page]
    print("\n".join(missing))
    # A pattern that no longer matches the sources must not pass.
    sys.exit(1 if missing or len(found) < 40 else 0)


main()
