"""Tells what happens and checks it: every answer in full, every file that appears, changes or vanishes."""

import json
import re
import textwrap

from application import SECONDS_FROM_1970_TO_2001, decoded_event

WIDTH = 120
DIRECTORY_MODE = 0o700
FILE_MODE = 0o600
CONSTANTS_OF_ANSWERS = {"protocolVersion": 1, "nativeHostVersion": "0.3.0", "minimumProtocolVersion": 1}
INBOX_NAME = re.compile(r"Inbox/(\d{20})-[0-9A-F]{8}(?:-[0-9A-F]{4}){3}-[0-9A-F]{12}\.event")


class Mismatch(Exception):
    """Something was not as it must be."""


class Anything:
    """Stands for a value that the host makes up, and knows what it has to look like."""

    def __init__(self, pattern):
        self._pattern = pattern

    def __eq__(self, value):
        return isinstance(value, str) and re.fullmatch(self._pattern, value) is not None

    def __repr__(self):
        return f"<text like {self._pattern}>"


ANY_IDENTIFIER = Anything("[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}")
ANY_EVENT_TIME = Anything(r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z")


class Witness:
    def __init__(self):
        self.checks = 0

    # What is told.

    def heading(self, text):
        print(f"\n{text}\n{'-' * len(text)}")

    def remark(self, text):
        print(textwrap.fill(text, WIDTH, initial_indent="  ", subsequent_indent="  "))

    def line(self, who, text, details=None):
        print(f"  {who:<12}{text}")
        if details is not None:
            self._details(details)

    def _details(self, value):
        text = json.dumps(value, ensure_ascii=False) if not isinstance(value, str) else value
        indent = " " * 16
        print(textwrap.fill(text, WIDTH, initial_indent=indent, subsequent_indent=indent,
                            break_long_words=False, break_on_hyphens=False))

    # What is checked.

    def require(self, condition, complaint):
        self.checks += 1
        if not condition:
            raise Mismatch(complaint)

    def require_equal(self, what, actual, expected):
        self.require(actual == expected, f"{what}\n  is:        {actual!r}\n  should be: {expected!r}")

    def answer(self, answer, expected):
        """`expected` lacks only the constants that stand in every answer."""
        told = {key: value for key, value in answer.items() if key not in {*CONSTANTS_OF_ANSWERS, "accepted", "error"}}
        verdict = "accepted" if answer.get("accepted") is True else f"refused: \"{answer.get('error')}\""
        self.line("host", verdict, told)
        self.require_equal("The answer", answer, CONSTANTS_OF_ANSWERS | expected)

    def changes(self, before, after, token, session, started, ended, event=None, readiness=None, gone=()):
        """Exactly these things happened in the directory: at most one event arrived (`event`: its JSON), the browser's
        readiness was published (`readiness`: extension version and availability) and commands vanished."""
        appeared = sorted(after.keys() - before.keys())
        changed = sorted(name for name in before.keys() & after.keys() if before[name] != after[name])
        vanished = sorted(before.keys() - after.keys())
        for sign, names in (("+", appeared), ("~", changed), ("-", vanished)):
            for name in names:
                self._tell_change(sign, name, after.get(name))
        if not appeared + changed + vanished:
            self.line("directory", "unchanged")

        expected = set()
        if event is not None:
            arrived = [name for name in appeared if INBOX_NAME.fullmatch(name)]
            self.require_equal("The number of files that arrived in Inbox", len(arrived), 1)
            self._event(arrived[0], after, token, session, started, ended, event)
            expected |= {"Inbox/", arrived[0]}
        if readiness is not None:
            self._readiness(after, token, started, ended, *readiness)
            expected |= {"Readiness/", "Readiness/googleChrome.readiness"}
        self.require_equal("What appeared or changed beside that", sorted({*appeared, *changed} - expected), [])
        self.require_equal("What vanished", vanished, sorted(gone))

    def _tell_change(self, sign, name, item):
        if item is None:
            self.line("directory", f"{sign} {name}")
            return
        mode, contents = item
        if contents is None:
            self.line("directory", f"{sign} {name}   {mode:04o}")
            return
        self.line("directory", f"{sign} {name}   {mode:04o}, {len(contents)} bytes")
        record = json.loads(contents)
        record["token"] = record["token"][:6] + "..."
        if "eventData" in record:
            record["eventData"] = record["eventData"][:6] + "..."
            self._details(record)
            self._details("eventData decoded: " + json.dumps(decoded_event(json.loads(contents)), ensure_ascii=False))
        else:
            self._details(record)

    def _private(self, after, directory, name):
        self.require_equal(f"The permissions of {directory}", oct(after[directory][0]), oct(DIRECTORY_MODE))
        self.require_equal(f"The permissions of {name}", oct(after[name][0]), oct(FILE_MODE))

    def _time(self, what, seconds, started, ended):
        # A clock may be set while the demo runs, but hardly by more than this.
        self.require(started - 1 <= seconds <= ended + 1, f"{what} is {seconds}, not between {started} and {ended}")

    def _event(self, name, after, token, session, started, ended, expected):
        self._private(after, "Inbox/", name)
        contents = after[name][1]
        self.require(re.search(rb"(?<!\\)/", contents) is None, f"{name} holds a slash that is not escaped")
        envelope = json.loads(contents)
        self.require_equal("The keys of the envelope", set(envelope),
                           {"version", "token", "sessionIdentifier", "receivedAt", "eventData"})
        self.require_equal("The envelope's version", envelope["version"], 1)
        self.require_equal("The envelope's token", envelope["token"], token)
        self.require_equal("The envelope's session", envelope["sessionIdentifier"], session)
        self._time("receivedAt", envelope["receivedAt"], started, ended)
        microseconds = int((envelope["receivedAt"] + SECONDS_FROM_1970_TO_2001) * 1000000.0)
        self.require_equal("The time in the file's name", int(INBOX_NAME.fullmatch(name)[1]), microseconds)
        self.require_equal("The event", decoded_event(envelope), expected)

    def _readiness(self, after, token, started, ended, extension_version, available):
        name = "Readiness/googleChrome.readiness"
        self.require(name in after, f"{name} was not published")
        self._private(after, "Readiness/", name)
        envelope = json.loads(after[name][1])
        updated_at = envelope["readiness"].pop("updatedAt")
        self._time("updatedAt", updated_at, started, ended)
        self.require_equal("The readiness", envelope, {
            "version": 1,
            "token": token,
            "readiness": {
                "version": 1,
                "browserBundleIdentifier": "com.google.Chrome",
                "extensionVersion": extension_version,
                "nativeHostVersion": "0.3.0",
                "protocolVersion": 1,
                "connectionAvailable": available,
            },
        })
