"""A host as most would write it in Python: the same files, the same checks, none of the care for time.

It is what the real host is compared with; it validates roughly and serves nobody else.
"""

import base64
import datetime
import json
import os
import pathlib
import stat
import struct
import sys
import time
import uuid

ROOT = pathlib.Path(os.environ["MERROWIN_BRIDGE_DIR"])
CHROME = "com.google.Chrome"
SECONDS_TO_2001 = 978307200
MESSAGE_LIMIT = 16384


class Refusal(Exception):
    pass


def now():
    return time.time() - SECONDS_TO_2001


def read_regular_file(path, limit):
    status = os.lstat(path)
    if not stat.S_ISREG(status.st_mode) or status.st_size > limit:
        raise OSError("refused")
    with open(path, "rb") as file:
        return file.read(limit + 1)


def read_token():
    return read_regular_file(ROOT / "bridge-token", 128).decode()


def live_state():
    try:
        state = json.loads(read_regular_file(ROOT / "state.json", 4096))
        if not -2 <= now() - state["updatedAt"] <= 10:
            return None
        os.kill(state["appProcessIdentifier"], 0)
        return state
    except (OSError, ValueError, KeyError):
        return None


def filename_labels_enabled():
    try:
        token = read_token()
        preferences = json.loads(read_regular_file(ROOT / "preferences.json", 4096))
        return preferences["token"] == token and preferences["filenameLabelsEnabled"]
    except (OSError, ValueError, KeyError):
        return False


def ensure_directory(path):
    os.makedirs(path, mode=0o700, exist_ok=True)
    os.chmod(path, 0o700)


def announce_readiness(version):
    if live_state() is None:
        return
    envelope = {
        "version": 1,
        "token": read_token(),
        "readiness": {
            "version": 1,
            "browserBundleIdentifier": CHROME,
            "extensionVersion": version,
            "nativeHostVersion": "0.3.0",
            "protocolVersion": 1,
            "connectionAvailable": True,
            "updatedAt": now(),
        },
    }
    directory = ROOT / "Readiness"
    ensure_directory(directory)
    final = directory / "googleChrome.readiness"
    temporary = directory / f".googleChrome.readiness.{str(uuid.uuid4()).upper()}.temporary"
    temporary.write_text(json.dumps(envelope))
    os.chmod(temporary, 0o600)
    os.rename(temporary, final)
    os.chmod(final, 0o600)


def write_inbox_event(event, state):
    envelope = {
        "version": 1,
        "token": read_token(),
        "sessionIdentifier": state["sessionIdentifier"],
        "receivedAt": now(),
        "eventData": base64.b64encode(json.dumps(event).encode()).decode(),
    }
    directory = ROOT / "Inbox"
    ensure_directory(directory)
    name = f"{int(time.time() * 1e6):020d}-{str(uuid.uuid4()).upper()}.event"
    temporary = directory / f".{name}.temporary"
    temporary.write_text(json.dumps(envelope))
    os.rename(temporary, directory / name)
    os.chmod(directory / name, 0o600)


def pending_command(state):
    try:
        token = read_token()
        names = sorted(os.listdir(ROOT / "Commands"))
    except OSError:
        return None
    pending = None
    for name in names:
        if name.startswith(".") or not name.endswith(".command"):
            continue
        path = ROOT / "Commands" / name
        try:
            envelope = json.loads(read_regular_file(path, MESSAGE_LIMIT))
            command = envelope["command"]
            sound = envelope["version"] == 1 and envelope["token"] == token
            sound = sound and -2 <= now() - command["createdAt"] <= 60
            if sound and command["browserBundleIdentifier"] != CHROME:
                continue
            session = command.get("sessionIdentifier")
            if sound and session in (None, (state or {}).get("sessionIdentifier")):
                pending = pending or command
        except (OSError, ValueError, KeyError):
            pass
        os.unlink(path)
    return pending


def response(accepted, state, browser, error=None):
    message = {
        "protocolVersion": 1,
        "nativeHostVersion": "0.3.0",
        "minimumProtocolVersion": 1,
        "accepted": accepted,
        "appRunning": state is not None,
        "sessionRunning": bool(state and state["sessionRunning"]),
        "browserFrontmost": bool(state and state.get("frontmostBrowserBundleIdentifier") == browser),
        "trackingPaused": bool(state and state["browserTrackingPaused"]),
        "sessionIdentifier": state["sessionIdentifier"].lower() if state else None,
        "filenameLabelsEnabled": filename_labels_enabled(),
    }
    command = pending_command(state) if browser else None
    if command:
        message["command"] = command
    if error:
        message["error"] = error
    return message


def check_event(event):
    stamp = datetime.datetime.fromisoformat(event["timestamp"].replace("Z", "+00:00"))
    age = time.time() - stamp.timestamp()
    if age > 120:
        raise Refusal("The browser event timestamp is too old.")
    if age < -30:
        raise Refusal("The browser event timestamp is too far in the future.")
    if not event["browserDisplayName"].strip():
        raise Refusal("The browser display name is invalid.")


def handle_activity(request):
    event = request["event"]
    try:
        check_event(event)
    except Refusal as refusal:
        return response(False, live_state(), CHROME, str(refusal))
    if "extensionVersion" in request:
        announce_readiness(request["extensionVersion"])
    state = live_state()
    if state is None:
        return response(False, None, CHROME, "Kestrane is not running.")
    if not state["sessionRunning"] or state["browserTrackingPaused"]:
        return response(False, state, CHROME, "No Kestrane session is currently running.")
    if state.get("frontmostBrowserBundleIdentifier") != CHROME:
        return response(False, state, CHROME, "The reporting browser is not the frontmost application.")
    write_inbox_event(event, state)
    return response(True, state, CHROME)


def handle(payload):
    try:
        request = json.loads(payload)
        kind = request["type"]
        if kind == "browserActivity":
            return handle_activity(request)
        if kind == "readinessPing":
            announce_readiness(request["extensionVersion"])
        elif kind == "trackingPauseChanged":
            state = live_state()
            if request["paused"] and state:
                write_inbox_event({"id": str(uuid.uuid4()).upper(), "eventType": "extensionDisconnected"}, state)
        else:
            raise KeyError(kind)
        return response(True, live_state(), CHROME)
    except (ValueError, KeyError):
        return response(False, live_state(), None, "Malformed Kestrane native-messaging request.")


def main():
    source = sys.stdin.buffer
    target = sys.stdout.buffer
    while len(header := source.read(4)) == 4:
        (length,) = struct.unpack("<I", header)
        if not 0 < length <= MESSAGE_LIMIT:
            break
        answer = json.dumps(handle(source.read(length)), separators=(",", ":")).encode()
        target.write(struct.pack("<I", len(answer)) + answer)
        target.flush()


main()
