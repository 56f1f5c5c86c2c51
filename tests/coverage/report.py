#!/usr/bin/env python3
"""Says which lines and branches of the rooms no test takes; script/coverage calls it.

Reads what "llvm-cov export" writes from standard input. The argument is the file of exceptions, with one place per line:

    file | line | the line
    file | never true | the condition
    file | never false | the condition

where blanks are as in the source, but line breaks and what follows them are one blank. Everything from "#" on at the
start of a line is a comment. The status is 1 if a place is not taken and no exception, or an exception but taken.

That is judged for what the host is made of. The companion tool, with the files of platform/ that serve it alone, is counted.
"""

import collections
import json
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
ROOMS = ["base", "events", "bridge", "host", "platform"]
TOOL = "kestranectl"
TOOLS_PART_OF_PLATFORM = {
    "absolute_path", "child_process", "directory_watcher", "directory_watcher_linux", "end_requests",
    "executable_path_linux", "item_status", "operating_system_linux", "process_identifier", "program_start",
    "standard_streams", "time_limit",
}
NOT_OURS = {"base/boost_json.cpp", "base/unicode_tables.h"}  # a library, and a generated table


class Source:
    """A file's text, with what of it was taken."""

    def __init__(self, name):
        self.name = name
        self.rows = (ROOT / name).read_text().split("\n")
        self.lines = {}
        self.branches = collections.defaultdict(lambda: [0, 0])

    def add(self, entry):
        for number, count in line_counts(entry["segments"], len(self.rows)):
            self.lines[number] = max(count, self.lines.get(number, 0))
        for line, column, end_line, end_column, true_count, false_count, *_ in entry["branches"]:
            counts = self.branches[line, column, end_line, end_column]
            counts[0] += true_count
            counts[1] += false_count

    def text(self, line, column, end_line, end_column):
        rows = self.rows[line - 1 : end_line]
        rows[-1] = rows[-1][: end_column - 1]
        rows[0] = rows[0][column - 1 :]
        return re.sub(r"\s*\n\s*", " ", "\n".join(rows))

    def is_no_choice(self, line, column):
        """What cannot go either way, or is not ours to test.

        Comparisons that the compiler writes; the way around a switch in which, as the compiler sees to, every value has a
        case; and assertions.
        """
        row = self.rows[line - 1]
        return (
            row.endswith("= default;")
            or row[: column - 1].endswith("switch (")
            or row.strip().startswith("assert(")
        )

    def places(self):
        """Yields (kind, line, text, taken) for every line and both ways of every branch."""
        for line, count in sorted(self.lines.items()):
            if not self.rows[line - 1].endswith("= default;"):
                yield "line", line, self.rows[line - 1].strip(), count > 0
        for where, counts in sorted(self.branches.items()):
            if self.is_no_choice(*where[:2]):
                continue
            for kind, count in zip(("never true", "never false"), counts):
                yield kind, where[0], self.text(*where), count > 0


def line_counts(segments, last_line):
    """How often each line that holds code ran: the greatest count of what begins or goes on there."""
    by_line = collections.defaultdict(list)
    for segment in segments:
        by_line[segment[0]].append(segment)
    wrapped = None
    for line in range(1, last_line + 1):
        here = by_line.get(line, [])
        starts = [s for s in here if s[3] and s[4] and not s[5]]
        is_skipped = bool(here) and not here[0][3] and here[0][4]
        if not is_skipped and (starts or (wrapped is not None and wrapped[3])):
            counts = [s[2] for s in starts]
            if wrapped is not None:
                counts.append(wrapped[2])
            yield line, max(counts)
        if here:
            wrapped = here[-1]


def read_exceptions(path):
    exceptions = set()
    for row in path.read_text().splitlines():
        if row and not row.startswith("#"):
            exceptions.add(tuple(part.strip() for part in row.split(" | ", 2)))
    return exceptions


def read_sources(export):
    sources = {}
    for entry in export["data"][0]["files"]:
        path = pathlib.Path(entry["filename"])
        if not path.is_relative_to(ROOT):
            continue
        name = path.relative_to(ROOT).as_posix()
        if name.split("/")[0] in [*ROOMS, TOOL] and name not in NOT_OURS:
            sources.setdefault(name, Source(name)).add(entry)
    return sources


def room_of(name):
    path = pathlib.PurePosixPath(name)
    return TOOL if path.stem in TOOLS_PART_OF_PLATFORM else path.parts[0]


def main():
    exceptions = read_exceptions(pathlib.Path(sys.argv[1]))
    sources = read_sources(json.load(sys.stdin))
    counts = collections.defaultdict(lambda: [0, 0])
    missing = []
    used = set()
    for name, source in sorted(sources.items()):
        for kind, line, text, is_taken in source.places():
            count = counts[room_of(name), kind == "line"]
            count[0] += is_taken
            count[1] += 1
            if is_taken or room_of(name) == TOOL:
                continue
            if (name, kind, text) in exceptions:
                used.add((name, kind, text))
            else:
                missing.append(f"{name}:{line}: {'not taken' if kind == 'line' else kind}: {text}")

    print(f"{'room':12}{'lines':>14}{'branches':>14}")
    for room in [*ROOMS, TOOL]:
        lines, branches = ("{}/{}".format(*counts[room, is_line]) for is_line in (True, False))
        print(f"{room:12}{lines:>14}{branches:>14}")
    print(f"{len(used)} places are exceptions ({sys.argv[1]}).")
    for place in missing:
        print(place)
    for name, kind, text in sorted(exceptions - used):
        print(f"{name}: no longer an exception: {kind}: {text}")
    sys.exit(bool(missing or exceptions - used or not sources))


if __name__ == "__main__":
    main()
