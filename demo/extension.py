"""A stand-in for the browser with its extension: starts the host and talks to it over real pipes."""

import json
import select
import struct
import subprocess
import time

ANSWER_SECONDS = 20


class HostFailure(Exception):
    """The host did not do what every host does: answer, and end with the connection."""


class Extension:
    def __init__(self, host, environment):
        # Browsers name the manifest and the extension in arguments; the host has no use for them.
        self._process = subprocess.Popen(
            [host, "chrome-extension://abcdefghijklmnopabcdefghijklmnop/"],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE, env=environment, bufsize=0)

    def send(self, payload):
        """Sends one frame and returns the one answer, decoded."""
        self._process.stdin.write(struct.pack("=I", len(payload)) + payload)
        (length,) = struct.unpack("=I", self._read(4))
        return json.loads(self._read(length))

    def send_length_alone(self, length):
        """Sends only the length of a frame: the host has to decide about it before it reads on."""
        self._process.stdin.write(struct.pack("=I", length))

    def disconnect(self):
        """Closes the pipe, as a browser does at its end; returns the host's status and everything left unread."""
        self._process.stdin.close()
        return self.wait()

    def wait(self):
        try:
            status = self._process.wait(ANSWER_SECONDS)
        except subprocess.TimeoutExpired as expired:
            raise HostFailure(f"the host did not end within {ANSWER_SECONDS} seconds") from expired
        return status, self._process.stdout.read(), self._process.stderr.read()

    def kill(self):
        self._process.kill()
        self._process.wait()
        for stream in (self._process.stdin, self._process.stdout, self._process.stderr):
            stream.close()

    def _read(self, count):
        received = b""
        deadline = time.monotonic() + ANSWER_SECONDS
        while len(received) < count:
            ready, _, _ = select.select([self._process.stdout], [], [], max(0, deadline - time.monotonic()))
            if not ready:
                raise HostFailure(f"the host did not answer within {ANSWER_SECONDS} seconds")
            piece = self._process.stdout.read(count - len(received))
            if not piece:
                raise HostFailure("the host ended in the middle of a conversation")
            received += piece
        return received
