#!/bin/sh
# Points script/check_includes at small trees: a sound one passes, and one that breaks a single rule fails with the file,
# the line, the include and the rule.
#
# Usage: tests/scripts/check_includes_test.sh
set -eu
script=$(cd "$(dirname "$0")/../../script" && pwd)/check_includes
trees=$(mktemp -d)
trap 'rm -rf "$trees"' EXIT
failures=0
cases=0

# sound_tree: a new tree with all rooms, in which every include is allowed; becomes the working directory.
sound_tree() {
    cases=$((cases + 1))
    tree=$trees/$cases
    mkdir -p "$tree/base" "$tree/platform" "$tree/events" "$tree/bridge" "$tree/host" "$tree/tests/host"
    cd "$tree"
    for new in base/value events/record platform/files bridge/store host/session_memory host/host_constants \
        host/companion_application host/messages host/native_messaging host/request_handler host/request_loop; do
        echo "#pragma once" >"$new.h"
    done
    printf '%s\n' '#include "base/value.h"' '#include <boost/json/src.hpp>' '#include <vector>' >base/value.cpp
    printf '%s\n' '#include "events/record.h"' '#include "base/value.h"' '#if defined(NDEBUG)' '#endif' >events/record.cpp
    printf '%s\n' '#include "base/value.h"' '#include <unistd.h>' '#include <csignal>' >platform/files.cpp
    printf '%s\n' '#import <AppKit/AppKit.h>' '#include "platform/files.h"' >platform/files_mac.mm
    printf '%s\n' '#include "base/value.h"' '#include "events/record.h"' '  # include "platform/files.h"' >bridge/store.cpp
    printf '%s\n' '#include "events/record.h"' >host/session_memory.h
    printf '%s\n' '#include "bridge/store.h"' '#include "host/host_constants.h"' >host/companion_application.h
    printf '%s\n' '#include "host/companion_application.h"' '#include "host/session_memory.h"' >host/messages.h
    printf '%s\n' '#include "host/native_messaging.h"' '#include "host/messages.h"' >host/native_messaging.cpp
    printf '%s\n' '#include "host/request_loop.h"' '#include "host/request_handler.h"' >host/request_loop.cpp
    printf '%s\n' '#include "host/request_loop.h"' '#include "platform/files.h"' >host/main.cpp
    printf '%s\n' '#include "host/messages.h"' '#include <sys/stat.h>' '#ifdef __linux__' '#endif' >tests/host/messages_test.cpp
}

report() {
    echo "FAILED: $1"
    printf '%s\n' "$2" | sed 's/^/    /'
    failures=$((failures + 1))
}

# expect_status STATUS NAME ARGUMENT...: the script, run with the arguments, ends with that status.
expect_status() {
    status=$1
    name=$2
    shift 2
    actual=0
    output=$("$script" "$@" 2>&1) || actual=$?
    [ "$actual" -eq "$status" ] || report "$name: status $actual instead of $status" "$output"
}

# refuses FILE LINE RULE: the line, put into the file of a sound tree, fails with exactly that one complaint.
refuses() {
    sound_tree
    printf '%s\n' '// a comment' "$2" >>"$1"
    expected="$1:$(($(wc -l <"$1"))): $2: $3"
    expect_status 1 "$2 in $1" "$tree"
    [ "$output" = "$expected" ] || report "$2 in $1: another complaint than \"$expected\"" "$output"
}

# accepts FILE LINE: the line changes nothing about a sound tree.
accepts() {
    sound_tree
    printf '%s\n' "$2" >>"$1"
    expect_status 0 "$2 in $1" "$tree"
}

sound_tree
expect_status 0 "a sound tree" "$tree"
[ -z "$output" ] || report "a sound tree: not silent" "$output"

refuses base/value.h '#include "events/record.h"' "base/ does not see events/"
refuses base/value.h '#include "platform/files.h"' "base/ does not see platform/"
refuses base/value.cpp '#include "bridge/store.h"' "base/ does not see bridge/"
refuses base/value.cpp '#include "host/messages.h"' "base/ does not see host/"
refuses platform/files.cpp '#include "events/record.h"' "platform/ does not see events/"
refuses platform/files.h '#include "bridge/store.h"' "platform/ does not see bridge/"
refuses platform/files_mac.mm '#import "host/messages.h"' "platform/ does not see host/"
refuses events/record.h '#include "platform/files.h"' "events/ does not see platform/"
refuses events/record.cpp '#include "bridge/store.h"' "events/ does not see bridge/"
refuses events/record.cpp '#include "host/messages.h"' "events/ does not see host/"
refuses bridge/store.h '#include "host/host_constants.h"' "bridge/ does not see host/"
refuses host/messages.h '#include "tests/host/helper.h"' "host/ does not see tests/"

refuses host/session_memory.h '#include "host/host_constants.h"' \
    "in host/, session_memory stands below host_constants or beside it"
refuses host/host_constants.h '#include "host/session_memory.h"' \
    "in host/, host_constants stands below session_memory or beside it"
refuses host/companion_application.h '#include "host/messages.h"' \
    "in host/, companion_application stands below messages or beside it"
refuses host/messages.h '#include "host/native_messaging.h"' \
    "in host/, messages stands below native_messaging or beside it"
refuses host/native_messaging.cpp '#include "host/request_handler.h"' \
    "in host/, native_messaging stands below request_handler or beside it"
refuses host/request_handler.h '#include "host/request_loop.h"' \
    "in host/, request_handler stands below request_loop or beside it"
sound_tree
echo '#include "host/request_loop.h"' >host/new_thing.cpp
expect_status 1 "a file of host/ without a place" "$tree"

refuses base/value.cpp '#include "value.h"' "includes are written from the root"
refuses host/messages.h '#include "../base/value.h"' "includes are written from the root"
refuses host/messages.h '#include "host/../base/value.h"' "includes are written from the root"
refuses host/messages.h '#include "./base/value.h"' "includes are written from the root"
refuses tests/host/messages_test.cpp '#include "helper.h"' "includes are written from the root"
refuses base/value.cpp '#include "base/missing.h"' "includes are written from the root, and there is no such file"
refuses events/record.cpp '#include <base/value.h>' "headers of the project stand in quotation marks"
refuses events/record.cpp '#include HEADER' "an include names its file"
refuses bridge/store.cpp '#include <boost/json/value.hpp>' "Boost stays within base/ and kestranectl/"

refuses host/main.cpp '#include <CLI/CLI.hpp>' "the library for command lines stays within kestranectl/"
refuses host/main.cpp '#include "kestranectl/main.h"' "host/ does not see kestranectl/"
for line in '#include "host/messages.h"' '#include "platform/files.h"' '#include <boost/json/value.hpp>' \
    '#include <CLI/CLI.hpp>'; do
    sound_tree
    mkdir kestranectl
    echo "$line" >kestranectl/main.cpp
    expect_status 0 "$line in kestranectl/main.cpp" "$tree"
done

for header in unistd.h sys/stat.h fcntl.h dirent.h pwd.h poll.h dlfcn.h signal.h csignal objc/runtime.h AppKit/AppKit.h \
    filesystem fstream; do
    for file in base/value.cpp events/record.cpp bridge/store.cpp host/main.cpp; do
        refuses "$file" "#include <$header>" "the operating system is reached through platform/ alone"
    done
    accepts platform/files.cpp "#include <$header>"
    accepts tests/host/messages_test.cpp "#include <$header>"
done

for condition in '#ifdef __APPLE__' '#ifndef __linux__' '#if defined(_WIN32)' '#elif __has_include(<unistd.h>)' \
    '# if TARGET_OS_OSX' '#if defined(__unix__) && 1'; do
    for file in base/value.h platform/files.cpp events/record.h bridge/store.h host/messages.h; do
        refuses "$file" "$condition" "the build chooses a file of platform/ for each system; no code asks for the system"
    done
done
accepts base/value.h '#if defined(NDEBUG)'
accepts base/value.h '// #include "host/messages.h"'
accepts base/value.h 'inline constexpr bool isOnLinux = false; // says __linux__'

expect_status 2 "a directory that is not there" "$trees/absent"
mkdir "$trees/empty"
expect_status 2 "a directory without rooms" "$trees/empty"
sound_tree
rm -r events
expect_status 2 "a tree without one of the rooms" "$tree"

echo "$cases trees, $failures failures"
[ "$failures" -eq 0 ]
