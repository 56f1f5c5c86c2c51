// A host as most would write it in JavaScript: the same files, the same checks, none of the care for time. It is what
// the real host is compared with; it validates roughly and serves nobody else.

import { randomUUID } from "node:crypto";
import fs from "node:fs";
import path from "node:path";

const root = process.env.MERROWIN_BRIDGE_DIR;
const chrome = "com.google.Chrome";
const secondsTo2001 = 978307200;
const messageLimit = 16384;

const now = () => Date.now() / 1000 - secondsTo2001;

function readRegularFile(file, limit) {
    const status = fs.lstatSync(file);
    if (!status.isFile() || status.size > limit)
        throw new Error("refused");
    return fs.readFileSync(file, "utf8");
}

const readToken = () => readRegularFile(path.join(root, "bridge-token"), 128);

function liveState() {
    try {
        const state = JSON.parse(readRegularFile(path.join(root, "state.json"), 4096));
        const age = now() - state.updatedAt;
        if (!(age >= -2 && age <= 10))
            return null;
        process.kill(state.appProcessIdentifier, 0);
        return state;
    } catch {
        return null;
    }
}

function filenameLabelsEnabled() {
    try {
        const token = readToken();
        const preferences = JSON.parse(readRegularFile(path.join(root, "preferences.json"), 4096));
        return preferences.token === token && preferences.filenameLabelsEnabled;
    } catch {
        return false;
    }
}

function ensureDirectory(directory) {
    fs.mkdirSync(directory, { recursive: true, mode: 0o700 });
    fs.chmodSync(directory, 0o700);
}

function announceReadiness(version) {
    if (!liveState())
        return;
    const envelope = {
        version: 1,
        token: readToken(),
        readiness: {
            version: 1,
            browserBundleIdentifier: chrome,
            extensionVersion: version,
            nativeHostVersion: "0.3.0",
            protocolVersion: 1,
            connectionAvailable: true,
            updatedAt: now(),
        },
    };
    const directory = path.join(root, "Readiness");
    ensureDirectory(directory);
    const final = path.join(directory, "googleChrome.readiness");
    const temporary = path.join(directory, `.googleChrome.readiness.${randomUUID().toUpperCase()}.temporary`);
    fs.writeFileSync(temporary, JSON.stringify(envelope));
    fs.chmodSync(temporary, 0o600);
    fs.renameSync(temporary, final);
    fs.chmodSync(final, 0o600);
}

function writeInboxEvent(event, state) {
    const envelope = {
        version: 1,
        token: readToken(),
        sessionIdentifier: state.sessionIdentifier,
        receivedAt: now(),
        eventData: Buffer.from(JSON.stringify(event)).toString("base64"),
    };
    const directory = path.join(root, "Inbox");
    ensureDirectory(directory);
    const name = `${String(Date.now() * 1000).padStart(20, "0")}-${randomUUID().toUpperCase()}.event`;
    const temporary = path.join(directory, `.${name}.temporary`);
    fs.writeFileSync(temporary, JSON.stringify(envelope));
    fs.renameSync(temporary, path.join(directory, name));
    fs.chmodSync(path.join(directory, name), 0o600);
}

function pendingCommand(state) {
    const directory = path.join(root, "Commands");
    let token, names;
    try {
        token = readToken();
        names = fs.readdirSync(directory).sort();
    } catch {
        return undefined;
    }
    let pending;
    for (const name of names) {
        if (name.startsWith(".") || !name.endsWith(".command"))
            continue;
        const file = path.join(directory, name);
        try {
            const { version, token: owner, command } = JSON.parse(readRegularFile(file, messageLimit));
            const age = now() - command.createdAt;
            const isSound = version === 1 && owner === token && age >= -2 && age <= 60;
            if (isSound && command.browserBundleIdentifier !== chrome)
                continue;
            if (isSound && (!command.sessionIdentifier || command.sessionIdentifier === state?.sessionIdentifier))
                pending ??= command;
        } catch {
            // Whatever it is, it goes.
        }
        fs.unlinkSync(file);
    }
    return pending;
}

function response(accepted, state, browser, error) {
    return {
        protocolVersion: 1,
        nativeHostVersion: "0.3.0",
        minimumProtocolVersion: 1,
        accepted,
        appRunning: state !== null,
        sessionRunning: state?.sessionRunning ?? false,
        browserFrontmost: Boolean(browser) && state?.frontmostBrowserBundleIdentifier === browser,
        trackingPaused: state?.browserTrackingPaused ?? false,
        sessionIdentifier: state?.sessionIdentifier?.toLowerCase() ?? null,
        filenameLabelsEnabled: filenameLabelsEnabled(),
        command: browser ? pendingCommand(state) : undefined,
        error,
    };
}

function eventRefusal(event) {
    const age = (Date.now() - Date.parse(event.timestamp)) / 1000;
    if (age > 120)
        return "The browser event timestamp is too old.";
    if (age < -30)
        return "The browser event timestamp is too far in the future.";
    return event.browserDisplayName.trim() ? undefined : "The browser display name is invalid.";
}

function handleActivity(request) {
    const refusal = eventRefusal(request.event);
    if (refusal)
        return response(false, liveState(), chrome, refusal);
    if (request.extensionVersion)
        announceReadiness(request.extensionVersion);
    const state = liveState();
    if (!state)
        return response(false, null, chrome, "Kestrane is not running.");
    if (!state.sessionRunning || state.browserTrackingPaused)
        return response(false, state, chrome, "No Kestrane session is currently running.");
    if (state.frontmostBrowserBundleIdentifier !== chrome)
        return response(false, state, chrome, "The reporting browser is not the frontmost application.");
    writeInboxEvent(request.event, state);
    return response(true, state, chrome);
}

function handle(payload) {
    try {
        const request = JSON.parse(payload);
        if (request.type === "browserActivity")
            return handleActivity(request);
        if (request.type === "readinessPing") {
            announceReadiness(request.extensionVersion);
        } else if (request.type === "trackingPauseChanged") {
            const state = liveState();
            if (request.paused && state)
                writeInboxEvent({ id: randomUUID().toUpperCase(), eventType: "extensionDisconnected" }, state);
        } else {
            throw new Error("unknown type");
        }
        return response(true, liveState(), chrome);
    } catch {
        return response(false, liveState(), undefined, "Malformed Kestrane native-messaging request.");
    }
}

let held = Buffer.alloc(0);
process.stdin.on("data", (chunk) => {
    held = Buffer.concat([held, chunk]);
    while (held.length >= 4) {
        const length = held.readUInt32LE(0);
        if (length === 0 || length > messageLimit)
            process.exit(0);
        if (held.length < 4 + length)
            return;
        const answer = Buffer.from(JSON.stringify(handle(held.toString("utf8", 4, 4 + length))));
        held = held.subarray(4 + length);
        const header = Buffer.alloc(4);
        header.writeUInt32LE(answer.length);
        process.stdout.write(Buffer.concat([header, answer]));
    }
});
