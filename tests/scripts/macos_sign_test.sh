#!/bin/sh
# Runs script/macos/sign with stand-ins for the commands of a Mac that write down how they are called: what it refuses
# before it changes anything, and in which order it signs.
#
# Usage: tests/scripts/macos_sign_test.sh
set -eu
script=$(cd "$(dirname "$0")/../../script/macos" && pwd)/sign
directory=$(mktemp -d)
trap 'rm -rf "$directory"' EXIT
log=$directory/log
failures=0

fail() {
    echo "FAILED: $1"
    failures=$((failures + 1))
}

tools=$directory/tools
mkdir "$tools"
for command in security codesign xcrun ditto spctl; do
    {
        echo '#!/bin/sh'
        echo "echo \"$command \$*\" >>'$log'"
        # shellcheck disable=SC2016 # expanded by the stand-in
        [ "$command" != security ] || echo 'echo "  1) 0123 \"Developer ID Application: Somebody (TEAM)\""'
        # shellcheck disable=SC2016
        echo '[ "${BROKEN-}" != "'"$command"' $1" ]'
    } >"$tools/$command"
    chmod +x "$tools/$command"
done

# new_bundle: an application with both executables; sets $bundle.
new_bundle() {
    rm -rf "$directory/The Application.app" "$log"
    bundle="$directory/The Application.app"
    mkdir -p "$bundle/Contents/MacOS" "$bundle/Contents/Helpers"
    echo x >"$bundle/Contents/Helpers/kestrane-native-host"
    echo x >"$bundle/Contents/MacOS/kestranectl"
    : >"$log"
}

# run STATUS NAME ARGUMENT...: the script with the stand-ins ends with that status.
run() {
    expected=$1
    name=$2
    shift 2
    status=0
    output=$(PATH=$tools:$PATH "$script" "$@" 2>&1) || status=$?
    [ "$status" -eq "$expected" ] || fail "$name: status $status instead of $expected: $output"
}

# refused NAME TEXT ARGUMENT...: status 2, the text is said, and nothing was signed.
refused() {
    name=$1
    text=$2
    shift 2
    run 2 "$name" "$@"
    printf '%s\n' "$output" | grep -F "$text" >/dev/null || fail "$name: says: $output"
    if grep -v '^security' "$log"; then fail "$name: something was done"; fi
}

unset KESTRANE_SIGNING_IDENTITY KESTRANE_NOTARY_PROFILE || true
new_bundle
refused "without an identity" "KESTRANE_SIGNING_IDENTITY is not set" "$bundle"
KESTRANE_SIGNING_IDENTITY="Developer ID Application: Somebody (TEAM)"
export KESTRANE_SIGNING_IDENTITY
refused "without a profile" "KESTRANE_NOTARY_PROFILE is not set" "$bundle"
KESTRANE_NOTARY_PROFILE=profile
export KESTRANE_NOTARY_PROFILE
refused "without a bundle" "usage:"
refused "with two bundles" "usage:" "$bundle" "$bundle"
refused "no application" "is no application" "$directory"
refused "an empty application" "is no application" "$directory/Empty.app"
KESTRANE_SIGNING_IDENTITY="Developer ID Application: Some" refused "part of an identity's name" "no valid identity" "$bundle"
rm "$bundle/Contents/MacOS/kestranectl"
refused "without the tool" "holds no kestranectl" "$bundle"
new_bundle
rm "$bundle/Contents/Helpers/kestrane-native-host"
refused "without the host" "holds no kestrane-native-host" "$bundle"
new_bundle
hidden=$tools
tools=$directory/none
mkdir "$tools"
[ "$(uname -s)" = Darwin ] || refused "elsewhere than on a Mac" 'there is no "security" here' "$bundle"
tools=$hidden

new_bundle
run 0 "everything there" "$bundle/"
sed "s|$directory/||; s|/[^ ]*/bundle.zip|ZIP|" "$log" >"$log.short"
signing='--force --sign Developer ID Application: Somebody (TEAM)'
cat >"$log.expected" <<EXPECTED
security find-identity -v -p codesigning
xcrun strip -x The Application.app/Contents/Helpers/kestrane-native-host
codesign $signing --identifier com.kestrane.native-host --options runtime --timestamp The Application.app/Contents/Helpers/kestrane-native-host
xcrun strip -x The Application.app/Contents/MacOS/kestranectl
codesign $signing --identifier com.kestrane.kestranectl --options runtime --timestamp The Application.app/Contents/MacOS/kestranectl
codesign $signing --preserve-metadata=identifier,entitlements --options runtime --timestamp The Application.app
codesign --verify --strict --verbose=2 The Application.app/Contents/Helpers/kestrane-native-host
codesign --verify --strict --verbose=2 The Application.app/Contents/MacOS/kestranectl
codesign --verify --strict --verbose=2 The Application.app
ditto -c -k --keepParent The Application.app ZIP
xcrun notarytool submit ZIP --keychain-profile profile --wait
xcrun stapler staple The Application.app
spctl --assess --type execute --verbose The Application.app
EXPECTED
diff "$log.expected" "$log.short" || fail "another order than from the inside out"

new_bundle
unset KESTRANE_NOTARY_PROFILE
run 0 "without notarisation" --without-notarisation "$bundle"
if grep -E 'notarytool|stapler' "$log"; then fail "notarised all the same"; fi
[ "$(grep -c 'options runtime' "$log")" -eq 3 ] || fail "not everything was signed"

new_bundle
BROKEN="codesign --force" run 1 "a signature that fails" --without-notarisation "$bundle"
[ "$(grep -c '^codesign' "$log")" -eq 1 ] || fail "went on after a signature that failed: $(cat "$log")"
if printf '%s\n' "$output" | grep 'is signed'; then fail "said that it is signed"; fi

echo "$failures failures"
[ "$failures" -eq 0 ]
