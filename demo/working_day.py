#!/usr/bin/env python3
"""Plays a working day with the built host: a browser with its extension on one side, the application on the other.

Usage: demo/working_day.py HOST
Everything happens in a temporary directory. Says who says what and which files appear, change or vanish, and checks all
of it; ends with status 1 and a message at the first thing that is not as it must be.
"""

import pathlib
import sys
import tempfile
import uuid

from application import Application, new_identifier
from day import (CHROME, EXTENSION_VERSION, FIREFOX, HOST_IS_GONE, MALFORMED, NO_SESSION, NOT_FRONTMOST, NOT_READY,
                 NOT_RUNNING, WRONG_PROTOCOL, Day, event_time)
from extension import HostFailure
from witness import Mismatch

GIO = pathlib.Path("/usr/bin/gio")
DESKTOP_ENTRY = "com.kestrane.Kestrane.desktop"


def install_desktop_entry(temporary):
    """What the host finds when it looks for the application: a script that leaves a line in the file "opened"."""
    program = temporary / "open-application"
    program.write_text(f"#!/bin/sh\necho opened >>'{temporary}/opened'\n")
    program.chmod(0o700)
    directory = temporary / "data" / "applications"
    directory.mkdir(parents=True)
    (directory / DESKTOP_ENTRY).write_text(f"[Desktop Entry]\nType=Application\nName=Kestrane\nExec={program}\n")


def before_work(day):
    day.witness.heading("08:30  The browser is up before the application")
    day.connect()
    day.witness.remark("The extension says that it is there. Nobody is told: the application does not run.")
    day.ask("readinessPing", extensionVersion=EXTENSION_VERSION)
    day.report("browserBecameActive", error=NOT_RUNNING)
    day.ask("trackingPauseChanged", paused=False)


def open_the_application(day):
    day.witness.heading("08:45  The extension asks for the application")
    can_be_opened = sys.platform == "linux" and GIO.exists()
    if sys.platform == "darwin":
        day.witness.remark("Not asked for on macOS: the system would open the real application.")
    else:
        for times, kind in enumerate(("openMerrowin", "openDiagnostics"), start=1):
            day.ask(kind)
            if can_be_opened:
                day.application_was_opened(times)
        if not can_be_opened:
            day.witness.remark(f"NOT CHECKED: whether the application was started. There is no {GIO} here to start it.")
    day.application.start()
    day.witness.line("application", "is up: token, state and preferences are in the bridge directory")
    day.ask("readinessPing", extensionVersion=EXTENSION_VERSION, readiness=(EXTENSION_VERSION, True))
    day.report("tabActivated", error=NO_SESSION, hostname="example.org", temporaryTabIdentifier="tab-1")


def browse(day):
    day.witness.heading("09:00  A focus session begins")
    day.application.refresh(session=new_identifier(), frontmost=FIREFOX)
    day.witness.line("application", f"session {day.application.session}; Firefox is in front")
    day.report("browserWindowFocused", error=NOT_FRONTMOST)
    day.application.refresh(frontmost=CHROME)
    day.witness.line("application", "now Chrome is in front")
    day.report("browserBecameActive", readiness=(EXTENSION_VERSION, True))
    day.witness.remark("Blanks, capitals and the final dot go; the tab's identifier keeps its case.")
    day.report("tabActivated", hostname=" News.Example.ORG. ", temporaryTabIdentifier=" Tab:1 ",
               becomes={"hostname": "news.example.org", "temporaryTabIdentifier": "Tab:1"})
    day.report("tabNavigated", hostname="docs.example.org", temporaryTabIdentifier="Tab:1")
    day.report("browserWindowBlurred")
    day.report("browserWindowFocused", hostname="docs.example.org", temporaryTabIdentifier="Tab:1")
    day.report("tabClosed", temporaryTabIdentifier="Tab:1")
    day.report("heartbeat", isPrivate=True)
    day.report("extensionDisconnected")
    day.application_takes_events()


def read_a_pdf(day):
    day.witness.heading("10:30  Reading local PDF files")
    pdf = str(uuid.uuid4())
    document = {"resourceType": "localPDF", "pdfIdentifier": pdf}
    day.report("tabActivated", localFilePermission="permissionRequired")
    day.witness.remark("File names are personal: while the preference is off, a label made of one does not get through.")
    day.report("tabActivated", **document | {"pdfIdentifier": pdf.upper()}, pdfLabel="tax return.pdf",
               pdfLabelSource="filename", localFilePermission="enabled",
               becomes={"pdfIdentifier": pdf, "pdfLabel": None, "pdfLabelSource": None})
    day.witness.remark("A label that the user wrote does.")
    # Three question marks bring about a slash in base64, which has to be written escaped.
    day.report("tabNavigated", **document, pdfLabel=" Steuererklärung: was nun??? ", pdfLabelSource="manual", localFilePermission="enabled",
               becomes={"pdfLabel": "Steuererklärung: was nun???"})
    day.application.set_filename_labels(True)
    day.witness.line("application", "the user switches file-name labels on")
    day.report("tabActivated", **document, pdfLabel="tax return.pdf", pdfLabelSource="filename",
               localFilePermission="enabled")
    day.report("tabClosed", **document, localFilePermission="enabled")
    day.application_takes_events()


def refuse_events(day):
    """Every message of validation that the extension can bring about. The others cannot be reached from outside: an event
    of another browser, or one that does not decode, is refused as a malformed request before it is validated."""
    day.witness.heading("12:00  Events that are refused, each for a reason of its own")
    tab = {"hostname": "example.org", "temporaryTabIdentifier": "tab-2"}
    document = {"resourceType": "localPDF", "pdfIdentifier": str(uuid.uuid4())}
    day.report("tabActivated", error="The browser event timestamp is too old.", **tab, timestamp=event_time(-180))
    day.report("tabActivated", error="The browser event timestamp is too far in the future.", **tab,
               timestamp=event_time(+180))
    day.report("tabActivated", error="The browser display name is invalid.", **tab, browserDisplayName="Chrome\u0007")
    day.report("tabActivated", error="The browser hostname is invalid.", **tab | {"hostname": "https://example.org/"})
    day.report("tabActivated", error="The temporary browser tab identifier is invalid.",
               **tab | {"temporaryTabIdentifier": "tab 2"})
    day.report("tabActivated", error="The local PDF identifier is invalid.", **document | {"pdfIdentifier": "tax"})
    day.report("tabActivated", error="The local PDF label is invalid.", **document, pdfLabel="../tax.pdf",
               pdfLabelSource="filename")
    day.report("tabActivated", error="The local PDF label source is invalid.", **document, pdfLabelSource="manual")
    day.report("tabActivated", **tab, isPrivate=True,
               error="Kestrane does not accept hostnames or tab identifiers from private browsing.")
    day.report("tabNavigated", error="The event contains fields that are not valid for its event type.",
               hostname="example.org")


def refuse_requests(day):
    day.witness.heading("12:30  Requests that are refused")
    day.witness.line("extension", "half a JSON text", '{"protocolVersion":1,')
    day.exchange(b'{"protocolVersion":1,', error=MALFORMED)
    day.ask("readinessPing", error=WRONG_PROTOCOL, protocolVersion=2, extensionVersion=EXTENSION_VERSION)
    day.ask("makeCoffee", error=MALFORMED)
    day.ask("readinessPing", error=MALFORMED, browserBundleIdentifier=FIREFOX, extensionVersion=EXTENSION_VERSION)
    day.ask("readinessPing", error=MALFORMED, extensionVersion="1.4.2-beta")
    day.ask("openMerrowin", error=MALFORMED, browserBundleIdentifier=None)
    day.ask("trackingPauseChanged", error=MALFORMED)
    day.ask("browserActivity", error=MALFORMED)
    day.report("heartbeat", error=MALFORMED, browserBundleIdentifier=FIREFOX)
    day.report("tabHovered", error=MALFORMED)
    day.application.hide_token()
    day.witness.line("application", "its token is gone")
    day.report("heartbeat", error=NOT_READY)
    day.application.show_token()
    day.witness.line("application", "its token is back")


def deliver_commands(day):
    day.witness.heading("14:00  The application leaves commands")
    application = day.application
    show = application.leave_command("0001-show", "showLocalPDF", CHROME, sessionIdentifier=application.session,
                                     pdfIdentifier=new_identifier())
    application.leave_command("0002-labels", "setFilenameLabelsEnabled", FIREFOX, filenameLabelsEnabled=False)
    day.witness.line("application", "a command for Chrome, 0001-show, and one for Firefox, 0002-labels")
    day.report("heartbeat", command=show, gone=["Commands/0001-show.command"])
    day.witness.remark("It was delivered once. The other one stays for the host of its browser.")
    day.report("heartbeat")
    application.leave_command("0003-late", "showLocalPDF", CHROME, age=61)
    application.leave_command("0004-forged", "showLocalPDF", CHROME, token="0" * 64)
    application.leave_command("0005-other", "showLocalPDF", CHROME, sessionIdentifier=new_identifier())
    switch = application.leave_command("0006-labels", "setFilenameLabelsEnabled", CHROME, filenameLabelsEnabled=False)
    day.witness.line("application", "four commands: one too old, one with a wrong token, one of another session, a good one")
    day.ask("readinessPing", extensionVersion=EXTENSION_VERSION, readiness=(EXTENSION_VERSION, True), command=switch,
            gone=[f"Commands/{name}.command" for name in ("0003-late", "0004-forged", "0005-other", "0006-labels")])
    day.witness.require("Commands/0002-labels.command" in application.files(), "The command for Firefox is gone")
    day.application_takes_events()


def pause(day):
    day.witness.heading("15:00  A pause")
    day.ask("trackingPauseChanged", paused=True, event=HOST_IS_GONE)
    day.application.refresh(paused=True)
    day.witness.line("application", "browser tracking is paused")
    day.report("heartbeat", error=NO_SESSION)
    day.ask("trackingPauseChanged", paused=True)
    day.ask("trackingPauseChanged", paused=False)
    day.application.refresh(paused=False)
    day.witness.line("application", "browser tracking goes on")
    day.report("heartbeat")
    day.application_takes_events()


def go_home(day):
    day.witness.heading("17:30  The browser is closed")
    day.disconnect(event=HOST_IS_GONE, readiness=(EXTENSION_VERSION, False))
    day.application_takes_events()

    day.witness.heading("17:45  A second connection, from a browser that never says which one it is")
    day.connect()
    day.ask("openMerrowin", error=MALFORMED, browserBundleIdentifier=None)
    day.witness.remark("A frame may have 16384 bytes. The host does not even read a longer one, and leaves no trace.")
    day.disconnect(frame_length=16385)


def play(host, temporary):
    install_desktop_entry(temporary)
    day = Day(host, Application(temporary / "bridge"), temporary)
    try:
        for hour in (before_work, open_the_application, browse, read_a_pdf, refuse_events, refuse_requests,
                     deliver_commands, pause, go_home):
            hour(day)
    finally:
        day.stop()
    return day


def main():
    if len(sys.argv) != 2:
        sys.exit("Usage: demo/working_day.py HOST")
    host = pathlib.Path(sys.argv[1]).resolve()
    try:
        with tempfile.TemporaryDirectory(prefix="kestrane-demo.") as temporary:
            day = play(host, pathlib.Path(temporary).resolve())
    except (Mismatch, HostFailure, OSError, ValueError, KeyError) as failure:
        sys.stdout.flush()
        sys.exit(f"\nNOT AS IT MUST BE: {type(failure).__name__}: {failure}")
    requests = day.accepted + len(day.refusals)
    print(f"\nA whole day, all as it must be: {requests} requests answered in {day.connections} connections, {day.accepted} "
          f"accepted and {len(day.refusals)} refused with {len(set(day.refusals))} different messages; {day.relayed} events "
          f"in the inbox, {day.delivered} commands delivered; {day.witness.checks} checks.")


if __name__ == "__main__":
    main()
