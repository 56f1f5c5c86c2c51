/* The yardstick: the file operations that the duties of each request call for, one system call after the other, by path
   and without a thought. It knows no JSON: it finds the kind of a request by searching its bytes and answers with texts
   that were written beforehand. What it does is the literal sequence of a straightforward host; nothing is left out,
   nothing is clever. */

#define _GNU_SOURCE
#include "bench/fill.h"

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

enum { maximumMessageBytes = 16384, pathSize = 4096 };

static const char* root;
static char request[maximumMessageBytes + 1];
static char contents[maximumMessageBytes + 2];
static int browserIsKnown;
static int versionIsKnown;

static const char refusedAnswer[]
    = "{\"protocolVersion\":1,\"nativeHostVersion\":\"0.3.0\",\"minimumProtocolVersion\":1,\"accepted\":false,"
      "\"appRunning\":true,\"sessionRunning\":true,\"browserFrontmost\":true,\"trackingPaused\":false,"
      "\"sessionIdentifier\":\"6f9619ff-8b86-4d01-b42d-00cf4fc964ff\",\"filenameLabelsEnabled\":true,"
      "\"error\":\"The browser event timestamp is too old.\"}";
static const char malformedAnswer[]
    = "{\"protocolVersion\":1,\"nativeHostVersion\":\"0.3.0\",\"minimumProtocolVersion\":1,\"accepted\":false,"
      "\"appRunning\":true,\"sessionRunning\":true,\"browserFrontmost\":false,\"trackingPaused\":false,"
      "\"sessionIdentifier\":\"6f9619ff-8b86-4d01-b42d-00cf4fc964ff\",\"filenameLabelsEnabled\":true,"
      "\"error\":\"Malformed Kestrane native-messaging request.\"}";
static const char notFrontmostAnswer[]
    = "{\"protocolVersion\":1,\"nativeHostVersion\":\"0.3.0\",\"minimumProtocolVersion\":1,\"accepted\":false,"
      "\"appRunning\":true,\"sessionRunning\":true,\"browserFrontmost\":false,\"trackingPaused\":false,"
      "\"sessionIdentifier\":\"6f9619ff-8b86-4d01-b42d-00cf4fc964ff\",\"filenameLabelsEnabled\":true,"
      "\"error\":\"The reporting browser is not the frontmost application.\"}";
static const char unavailableAnswer[]
    = "{\"protocolVersion\":1,\"nativeHostVersion\":\"0.3.0\",\"minimumProtocolVersion\":1,\"accepted\":false,"
      "\"appRunning\":false,\"sessionRunning\":false,\"browserFrontmost\":false,\"trackingPaused\":false,"
      "\"sessionIdentifier\":null,\"filenameLabelsEnabled\":true,\"error\":\"Kestrane is not running.\"}";
static const char acceptedAnswer[]
    = "{\"protocolVersion\":1,\"nativeHostVersion\":\"0.3.0\",\"minimumProtocolVersion\":1,\"accepted\":true,"
      "\"appRunning\":true,\"sessionRunning\":true,\"browserFrontmost\":true,\"trackingPaused\":false,"
      "\"sessionIdentifier\":\"6f9619ff-8b86-4d01-b42d-00cf4fc964ff\",\"localFilePermission\":\"enabled\","
      "\"filenameLabelsEnabled\":true}";

/* As long as the envelope of the event that the benchmark sends. */
static char envelope[845];
static const char readiness[]
    = "{\"version\":1,\"token\":\"0123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdef\","
      "\"readiness\":{\"version\":1,\"browserBundleIdentifier\":\"com.google.Chrome\",\"extensionVersion\":\"1.4.2\","
      "\"nativeHostVersion\":\"0.3.0\",\"protocolVersion\":1,\"connectionAvailable\":true,"
      "\"updatedAt\":785000000.123456}}";

static void below(char* path, const char* name)
{
    snprintf(path, pathSize, "%s/%s", root, name);
}

/* lstat, open, read, close */
static ssize_t readRegularFile(const char* path, size_t limit)
{
    struct stat status;
    if (lstat(path, &status) != 0 || !S_ISREG(status.st_mode) || (size_t)status.st_size > limit)
        return -1;
    const int file = open(path, O_RDONLY | O_CLOEXEC);
    if (file < 0)
        return -1;
    const ssize_t count = read(file, contents, limit + 1);
    close(file);
    if (count < 0)
        return -1;
    contents[count] = '\0';
    return count;
}

static void readToken(void)
{
    char path[pathSize];
    below(path, "bridge-token");
    readRegularFile(path, 128);
}

static void readPreferences(void)
{
    char path[pathSize];
    below(path, "preferences.json");
    readRegularFile(path, 4096);
}

static double numberAfter(const char* key)
{
    const char* const found = strstr(contents, key);
    return found != NULL ? strtod(found + strlen(key), NULL) : 0;
}

/* Whether the application runs; *frontmost tells whether the browser is. */
static int liveState(int* frontmost)
{
    char path[pathSize];
    below(path, "state.json");
    if (readRegularFile(path, 4096) < 0)
        return 0;
    *frontmost = strstr(contents, "com.google.Chrome") != NULL;
    struct timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    const double age = (double)(now.tv_sec - 978307200) - numberAfter("\"updatedAt\":");
    return age <= 10 && age >= -3 && kill((pid_t)numberAfter("\"appProcessIdentifier\":"), 0) == 0;
}

/* getrandom, then text */
static void appendUUID(char* text)
{
    unsigned char bytes[16];
    if (getrandom(bytes, sizeof bytes, 0) != (ssize_t)sizeof bytes)
        abort();
    for (size_t index = 0; index < sizeof bytes; ++index) {
        text += sprintf(text, "%02X", bytes[index]);
        if (index == 3 || index == 5 || index == 7 || index == 9)
            *text++ = '-';
    }
    *text = '\0';
}

/* mkdir, chmod */
static void ensureDirectory(const char* path)
{
    mkdir(path, 0700);
    chmod(path, 0700);
}

/* open, write, close */
static void writeFile(const char* path, const char* bytes, size_t count)
{
    const int file = open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (file < 0 || write(file, bytes, count) != (ssize_t)count)
        abort();
    close(file);
}

static void announceReadiness(void)
{
    int frontmost = 0;
    if (!liveState(&frontmost))
        return;
    readToken();
    char directory[pathSize];
    below(directory, "Readiness");
    ensureDirectory(directory);
    char uuid[40];
    appendUUID(uuid);
    char temporary[pathSize + 128];
    snprintf(temporary, sizeof temporary, "%s/.googleChrome.readiness.%s.temporary", directory, uuid);
    char final[pathSize + 128];
    snprintf(final, sizeof final, "%s/googleChrome.readiness", directory);
    writeFile(temporary, readiness, sizeof readiness - 1);
    chmod(temporary, 0600);
    if (rename(temporary, final) != 0)
        abort();
    chmod(final, 0600);
    unlink(temporary);
}

static void writeInboxEvent(void)
{
    readToken();
    char directory[pathSize];
    below(directory, "Inbox");
    ensureDirectory(directory);
    struct timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    char uuid[40];
    appendUUID(uuid);
    const long long microseconds = (long long)now.tv_sec * 1000000 + now.tv_nsec / 1000;
    char temporary[pathSize + 128];
    snprintf(temporary, sizeof temporary, "%s/.%020lld-%s.event.temporary", directory, microseconds, uuid);
    char final[pathSize + 128];
    snprintf(final, sizeof final, "%s/%020lld-%s.event", directory, microseconds, uuid);
    writeFile(temporary, envelope, sizeof envelope);
    if (rename(temporary, final) != 0)
        abort();
    chmod(final, 0600);
}

/* open, fstat, getdents until the end, close; then each command file */
static void scanCommands(void)
{
    readToken();
    char path[pathSize + 512];
    below(path, "Commands");
    DIR* const directory = opendir(path);
    if (directory == NULL)
        return;
    const size_t length = strlen(path);
    const struct dirent* entry;
    while ((entry = readdir(directory)) != NULL) {
        const char* const extension = strrchr(entry->d_name, '.');
        if (entry->d_name[0] == '.' || extension == NULL || strcmp(extension, ".command") != 0)
            continue;
        snprintf(path + length, sizeof path - length, "/%s", entry->d_name);
        readRegularFile(path, maximumMessageBytes);
    }
    closedir(directory);
}

static void answer(const char* text, int browserIsNamed)
{
    readToken();
    readPreferences();
    if (browserIsNamed)
        scanCommands();
    const uint32_t length = (uint32_t)strlen(text);
    if (write(STDOUT_FILENO, &length, sizeof length) < 0 || write(STDOUT_FILENO, text, length) < 0)
        exit(0);
}

static int holds(const char* text)
{
    return strstr(request, text) != NULL;
}

static void handleActivity(void)
{
    int frontmost = 0;
    if (holds("\"timestamp\":\"2001-")) {
        liveState(&frontmost);
        answer(refusedAnswer, 1);
        return;
    }
    readToken();
    readPreferences();
    browserIsKnown = 1;
    if (holds("\"extensionVersion\"")) {
        versionIsKnown = 1;
        announceReadiness();
    }
    if (!liveState(&frontmost)) {
        liveState(&frontmost);
        answer(unavailableAnswer, 1);
        return;
    }
    if (!frontmost) {
        answer(notFrontmostAnswer, 1);
        return;
    }
    writeInboxEvent();
    answer(acceptedAnswer, 1);
}

static void handleRequest(void)
{
    int frontmost = 0;
    if (holds("\"type\":\"browserActivity\"")) {
        handleActivity();
        return;
    }
    if (holds("\"type\":\"readinessPing\"")) {
        browserIsKnown = versionIsKnown = 1;
        announceReadiness();
    } else if (holds("\"type\":\"trackingPauseChanged\"")) {
        if (holds("\"paused\":true") && liveState(&frontmost))
            writeInboxEvent();
    } else if (!holds("\"type\":\"open")) {
        liveState(&frontmost);
        answer(malformedAnswer, 0);
        return;
    }
    liveState(&frontmost);
    answer(acceptedAnswer, 1);
}

int main(void)
{
    signal(SIGPIPE, SIG_IGN);
    root = getenv("MERROWIN_BRIDGE_DIR");
    if (root == NULL)
        return 1;
    memset(envelope, 'x', sizeof envelope);
    uint32_t length = 0;
    while (fill((char*)&length, sizeof length) && length > 0 && length <= maximumMessageBytes
        && fill(request, length)) {
        request[length] = '\0';
        handleRequest();
    }
    int frontmost = 0;
    if (versionIsKnown)
        announceReadiness();
    if (browserIsKnown && liveState(&frontmost) && frontmost)
        writeInboxEvent();
    return 0;
}
