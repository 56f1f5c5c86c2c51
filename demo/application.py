"""A stand-in for the Kestrane application: what it writes into the bridge directory, and what it reads there."""

import base64
import json
import os
import pathlib
import secrets
import time
import uuid

SECONDS_FROM_1970_TO_2001 = 978307200


def now():
    """Seconds since 2001-01-01T00:00:00Z, the time of all records in the bridge directory."""
    return time.time() - SECONDS_FROM_1970_TO_2001


def new_identifier():
    return str(uuid.uuid4()).upper()


class Application:
    """Runs from `start` on, in the process that runs the demo."""

    def __init__(self, directory):
        self.directory = pathlib.Path(directory)
        self.running = False
        self.token = None
        self.shows_token = False
        self.session = None
        self.paused = False
        self.frontmost = None
        self.filename_labels = False

    def start(self):
        self.directory.mkdir(mode=0o700)
        (self.directory / "Commands").mkdir(mode=0o700)
        self.token = secrets.token_hex(32)
        self.show_token()
        self.running = True
        self.set_filename_labels(False)
        self.refresh()

    def refresh(self, **changes):
        """Writes the state anew, as the application does every few seconds; the host takes it for dead after ten."""
        for name, value in changes.items():
            setattr(self, name, value)
        if not self.running:
            return
        state = {
            "version": 1,
            "appProcessIdentifier": os.getpid(),
            "sessionRunning": self.session is not None,
            "browserTrackingPaused": self.paused,
            "updatedAt": now(),
        }
        if self.session is not None:
            state["sessionIdentifier"] = self.session
        if self.frontmost is not None:
            state["frontmostBrowserBundleIdentifier"] = self.frontmost
        self._write("state.json", json.dumps(state).encode())

    def set_filename_labels(self, enabled):
        self.filename_labels = enabled
        preferences = {"version": 1, "token": self.token, "filenameLabelsEnabled": enabled}
        self._write("preferences.json", json.dumps(preferences).encode())

    def leave_command(self, file_name, kind, browser, token=None, age=0.0, **fields):
        """Leaves a command for a browser's extension and returns it. Commands are delivered in the order of their names."""
        command = {
            "id": new_identifier(),
            "type": kind,
            "browserBundleIdentifier": browser,
            "createdAt": now() - age,
            **fields,
        }
        envelope = {"version": 1, "token": token or self.token, "command": command}
        self._write(f"Commands/{file_name}.command", json.dumps(envelope).encode())
        return command

    def hide_token(self):
        (self.directory / "bridge-token").unlink()
        self.shows_token = False

    def show_token(self):
        self.shows_token = True
        self._write("bridge-token", self.token.encode())

    def take_events(self):
        """Empties the inbox and returns its events in the order in which the host received them."""
        events = []
        for path in sorted((self.directory / "Inbox").glob("*.event")):
            events.append(decoded_event(json.loads(path.read_bytes())))
            path.unlink()
        return events

    def files(self):
        """Every item in the bridge directory: its permissions, and its contents unless it is a directory."""
        items = {}
        for path in sorted(self.directory.rglob("*")) if self.directory.exists() else []:
            mode = path.lstat().st_mode & 0o7777
            name = str(path.relative_to(self.directory))
            items[name + "/" if path.is_dir() else name] = (mode, None if path.is_dir() else path.read_bytes())
        return items

    def _write(self, name, contents):
        """Writes beside the final name and renames, so that the host sees the old contents or the new."""
        path = self.directory / name
        temporary = path.with_name("." + path.name + ".new")
        descriptor = os.open(temporary, os.O_WRONLY | os.O_CREAT | os.O_TRUNC, 0o600)
        with os.fdopen(descriptor, "wb") as file:
            file.write(contents)
        temporary.rename(path)


def decoded_event(envelope):
    """The event inside an inbox envelope: JSON in base64 in JSON."""
    return json.loads(base64.b64decode(envelope["eventData"], validate=True))
