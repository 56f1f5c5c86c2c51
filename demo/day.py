"""One day of one browser: its connections to the host, and what each exchange must bring about."""

import datetime
import json
import os
import pathlib
import time

from application import new_identifier, now
from extension import Extension
from witness import ANY_EVENT_TIME, ANY_IDENTIFIER, Witness

CHROME = "com.google.Chrome"
FIREFOX = "org.mozilla.firefox"
EXTENSION_VERSION = "1.4.2"

MALFORMED = "Malformed Kestrane native-messaging request."
WRONG_PROTOCOL = "Unsupported Kestrane native-messaging protocol version."
NOT_RUNNING = "Kestrane is not running."
NO_SESSION = "No Kestrane session is currently running."
NOT_FRONTMOST = "The reporting browser is not the frontmost application."
NOT_READY = "Kestrane is not running or its browser bridge is not ready."
# After any other refusal of an event the event itself was at fault, and nothing of it is remembered.
ABOUT_THE_APPLICATION = {NOT_RUNNING, NO_SESSION, NOT_FRONTMOST, NOT_READY}

# The one event that the host makes itself.
HOST_IS_GONE = {
    "id": ANY_IDENTIFIER,
    "timestamp": ANY_EVENT_TIME,
    "browserDisplayName": "Google Chrome",
    "browserBundleIdentifier": CHROME,
    "eventType": "extensionDisconnected",
    "isPrivate": False,
    "resourceType": "website",
}


def event_time(seconds_from_now=0.0):
    moment = datetime.datetime.now(datetime.timezone.utc) + datetime.timedelta(seconds=seconds_from_now)
    return moment.isoformat(timespec="milliseconds").replace("+00:00", "Z")


class Day:
    def __init__(self, host, application, temporary):
        self.application = application
        self.witness = Witness()
        self.temporary = pathlib.Path(temporary)
        self._host = host
        self._extension = None
        self._permission = None
        self.connections = 0
        self.accepted = 0
        self.refusals = []
        self.delivered = 0
        self.relayed = 0
        self._on_their_way = []

    def connect(self):
        # Whatever the host opens can only be the desktop entry that the demo puts there.
        environment = {
            "PATH": os.environ.get("PATH", "/usr/bin:/bin"),
            "HOME": str(self.temporary / "home"),
            "XDG_DATA_HOME": str(self.temporary / "data"),
            "XDG_DATA_DIRS": str(self.temporary / "no-other-data"),
            "MERROWIN_BRIDGE_DIR": str(self.application.directory),
        }
        self._extension = Extension(self._host, environment)
        self._permission = None
        self.connections += 1
        self.witness.line("browser", f"starts the host; this is connection {self.connections} of the day")

    def stop(self):
        if self._extension is not None:
            self._extension.kill()

    def ask(self, kind, error=None, **expected_and_fields):
        """Sends a request of the browser's; see `exchange`. Fields of the request are named as in its JSON."""
        expected = {key: expected_and_fields.pop(key) for key in ("command", "event", "readiness", "gone")
                    if key in expected_and_fields}
        request = {"protocolVersion": 1, "type": kind, "browserBundleIdentifier": CHROME, **expected_and_fields}
        request = {key: value for key, value in request.items() if value is not None}
        self.witness.line("extension", kind, {key: value for key, value in request.items() if key != "type"})
        self.exchange(json.dumps(request).encode(), error, **expected)

    def report(self, event_type, error=None, becomes=None, readiness=None, command=None, gone=(), **fields):
        """Reports an event and expects it to reach the application, in its normalised form: `becomes` names the fields
        that change on the way, with None for those that vanish. With `error`, expects a refusal. See `exchange`."""
        event = {
            "id": new_identifier().lower(),
            "browserDisplayName": "Chrome",
            "browserBundleIdentifier": CHROME,
            "timestamp": event_time(),
            "eventType": event_type,
            **fields,
        }
        request = {"protocolVersion": 1, "type": "browserActivity", "event": event}
        if readiness is not None:
            request["extensionVersion"] = readiness[0]
        version = f", from extension {readiness[0]}" if readiness is not None else ""
        self.witness.line("extension", f"browserActivity: {event_type}{version}", event)
        arriving = {"isPrivate": False, "resourceType": "website", **event, "browserDisplayName": "Google Chrome",
                    **(becomes or {})}
        arriving["id"] = arriving["id"].upper()
        arriving = {key: value for key, value in arriving.items() if value is not None}
        if error is None or error in ABOUT_THE_APPLICATION:
            self._permission = event.get("localFilePermission")
        self.exchange(json.dumps(request).encode(), error, event=arriving if error is None else None,
                      readiness=readiness, command=command, gone=gone)

    def exchange(self, payload, error=None, command=None, event=None, readiness=None, gone=()):
        """One frame each way, and all that follows: the answer in full (with `error` if it is a refusal, with `command`),
        the event that arrives in the inbox, the published readiness, the command files that vanish, and nothing else."""
        application = self.application
        application.refresh()
        before, started = application.files(), now()
        answer = self._extension.send(payload)
        after, ended = application.files(), now()
        self.witness.answer(answer, self._expected_answer(error, command))
        self.witness.changes(before, after, application.token, application.session, started, ended, event, readiness, gone)
        if error is None:
            self.accepted += 1
        else:
            self.refusals.append(error)
        self.delivered += command is not None
        self._note(event)

    def disconnect(self, event=None, readiness=None, frame_length=None):
        """The connection ends because the browser closes it, or at the length of a frame that no host accepts."""
        application = self.application
        application.refresh()
        before, started = application.files(), now()
        if frame_length is None:
            self.witness.line("browser", "closes the connection")
            status, output, errors = self._extension.disconnect()
        else:
            self.witness.line("extension", f"announces a frame of {frame_length} bytes")
            self._extension.send_length_alone(frame_length)
            status, output, errors = self._extension.wait()
        after, ended = application.files(), now()
        self.witness.line("host", f"ends with status {status}")
        self.witness.require_equal("The host's status", status, 0)
        self.witness.require_equal("What the host wrote at its end", (output, errors), (b"", b""))
        self.witness.changes(before, after, application.token, application.session, started, ended, event, readiness)
        self._note(event)
        self.stop()
        self._extension = None

    def application_takes_events(self):
        taken = self.application.take_events()
        due, self._on_their_way = self._on_their_way, []
        self.witness.line("application", f"takes {len(taken)} events from the inbox, in the order of their names:",
                          ", ".join(event["eventType"] for event in taken))
        self.witness.require_equal("The events in the order of their names", taken, due)

    def application_was_opened(self, times):
        """Waits until the desktop entry has been started that many times."""
        opened = self.temporary / "opened"
        deadline = time.monotonic() + 20
        while time.monotonic() < deadline and (not opened.exists() or len(opened.read_text().splitlines()) < times):
            time.sleep(0.01)
        lines = opened.read_text().splitlines() if opened.exists() else []
        self.witness.line("system", "has started the application's desktop entry:", ", ".join(lines))
        self.witness.require_equal("How often the application was started", len(lines), times)

    def _note(self, event):
        if event is not None:
            self.relayed += 1
            self._on_their_way.append(event)

    def _expected_answer(self, error, command):
        application = self.application
        # A request that is not understood has no browser.
        knows_browser = error not in (MALFORMED, WRONG_PROTOCOL)
        session = application.session if application.running else None
        answer = {
            "accepted": error is None,
            "appRunning": application.running,
            "sessionRunning": session is not None,
            "browserFrontmost": application.running and knows_browser and application.frontmost == CHROME,
            "trackingPaused": application.running and application.paused,
            "sessionIdentifier": None if session is None else session.lower(),
            "filenameLabelsEnabled": application.filename_labels and application.shows_token,
        }
        optional = {"localFilePermission": self._permission, "command": command, "error": error}
        return answer | {key: value for key, value in optional.items() if value is not None}
