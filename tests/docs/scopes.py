"""Usage: scopes.py GRAMMAR FILE <POSITIONS: the innermost TextMate scope at each "LINE COLUMN".

Knows as much of the format as our grammar uses: match, begin and end, captures, include.
"""
import json
import re
import sys


def rules(grammar, patterns):
    for pattern in patterns:
        yield grammar["repository"][pattern["include"][1:]] if "include" in pattern else pattern


def first_match(grammar, patterns, text, start):
    """The earliest match; of several at one place, the rule that stands first."""
    best = None
    for rule in rules(grammar, patterns):
        match = re.compile(rule.get("begin") or rule["match"], re.MULTILINE).search(text, start)
        if match and (best is None or match.start() < best[1].start()):
            best = (rule, match)
    return best


def paint(scopes, start, end, name):
    if name:
        scopes[start:end] = [name] * (end - start)


def scopes_of(grammar, text):
    scopes = [""] * len(text)
    at, inside = 0, None
    while at < len(text):
        if inside is None:
            found = first_match(grammar, grammar["patterns"], text, at)
            if found is None:
                break
            inside, match = found
            paint(scopes, match.start(), match.end(), inside.get("name"))
            for number, capture in inside.get("beginCaptures", {}).items():
                if match[int(number)] is not None:
                    paint(scopes, *match.span(int(number)), capture["name"])
            at = match.end()
            continue
        end = re.compile(inside["end"], re.MULTILINE).search(text, at)
        found = first_match(grammar, inside["patterns"], text, at)
        stop = found[1].start() if found and found[1].start() <= end.start() else end.start()
        paint(scopes, at, stop, inside.get("contentName") or inside.get("name"))
        if stop == end.start() and not (found and found[1].start() == stop):
            at, inside = end.end() + 1, None
        else:
            paint(scopes, *found[1].span(), found[0].get("name") or inside.get("name"))
            at = found[1].end()
    return scopes


def main():
    with open(sys.argv[1]) as file:
        grammar = json.load(file)
    with open(sys.argv[2]) as file:
        text = file.read()
    starts = [0] + [i + 1 for i, c in enumerate(text) if c == "\n"]
    scopes = scopes_of(grammar, text)
    for position in sys.stdin:
        line, column = map(int, position.split())
        print(f"{line}:{column} {scopes[starts[line - 1] + column - 1]}")


main()
