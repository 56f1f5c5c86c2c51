#!/bin/sh
# Looks at what script/mutate would try: that it finds the limits, rules and flags whose change the tests must notice, each
# under a name of its own, and that every explained survivor is still one of its changes.
#
# Usage: tests/scripts/mutate_test.sh
set -eu
script=$(cd "$(dirname "$0")/../../script" && pwd)/mutate
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
failures=0

fail() {
    echo "FAILED: $1"
    failures=$((failures + 1))
}

# finds FILE RULE LINE: among the changes is one of the file by that rule that makes that line.
finds() {
    awk -F '\t' -v start="$1:" -v rule=":$2" -v line="$3" '
        index($1, start) == 1 && index($1, rule) && $2 == line { found = 1 } END { exit !found }' "$directory/changes" ||
        fail "no change of $1 by \"$2\" that makes: $3"
}

"$script" list >"$directory/changes" || fail "listing the changes fails"
"$script" list --every >"$directory/every" || fail "listing every change fails"
cut -f 1 "$directory/every" | sort | uniq -d >"$directory/twice"

[ -s "$directory/changes" ] || fail "no changes"
[ ! -s "$directory/twice" ] || fail "names that stand for several changes: $(cat "$directory/twice")"
[ "$(wc -l <"$directory/changes")" -lt "$(wc -l <"$directory/every")" ] || fail "--every adds nothing"
for room in base platform events bridge host; do
    grep -q "^$room/" "$directory/changes" || fail "no changes in $room/"
done
! grep -q -e '_mac' -e unicode_tables -e boost_json "$directory/every" || fail "changes where there should be none"

finds events/event_validation.cpp number+1 'constexpr std::size_t maximumHostnameLength = 254;'
finds events/event_validation.cpp number-1 'constexpr std::size_t maximumHostnameLength = 252;'
finds events/event_validation.cpp '> to >=' 'if (age >= settings.maximumAge)'
finds events/event_validation.cpp 'next enumerator' 'return Case::timestampTooFarInFuture;'
finds bridge/bridge_store.h number+1 'inline constexpr std::int64_t maximumTokenBytes = 129;'
finds bridge/private_file.h 'permissions 0644' 'inline constexpr unsigned privateFilePermissions = 0644;'
finds bridge/event_inbox.cpp 'check dropped' 'if ((eventData.size() > maximumEventDataBytes) && false)'
finds host/companion_application.h number+1 'inline constexpr double stateMaximumAge = 11.0;'
finds host/request_handler.cpp '&& to ||' 'return state.sessionRunning || !state.browserTrackingPaused;'
finds host/messages.cpp 'false to true' 'return environment.store.readPreferences(*token, environment.fileSystem).value_or(true);'
for flag in O_NOFOLLOW O_NONBLOCK O_CLOEXEC O_EXCL O_DIRECTORY; do
    grep -q ":$flag dropped" "$directory/changes" || fail "no change that drops $flag"
done

"$script" list --sample 20 --seed 3 >"$directory/sample"
"$script" list --sample 20 --seed 3 | cmp -s - "$directory/sample" || fail "a seed gives another sample each time"
"$script" list --sample 0 >"$directory/limits"
[ "$(wc -l <"$directory/sample")" -eq $((20 + $(wc -l <"$directory/limits"))) ] ||
    fail "not as many changes as the sample should have"
sort "$directory/sample" >"$directory/sorted"
sort "$directory/limits" | comm -23 - "$directory/sorted" >"$directory/left_out"
[ ! -s "$directory/left_out" ] || fail "limits are left out of a sample: $(cat "$directory/left_out")"
for rule in 'check dropped' number+1 number-1; do
    grep -q ":$rule" "$directory/limits" || fail "a sample does without \"$rule\""
done
! "$script" list --only base/none.cpp:1:none >"$directory/none" 2>&1 || fail "a name that is none is accepted"

echo "$(wc -l <"$directory/every") changes, $failures failures"
[ "$failures" -eq 0 ]
