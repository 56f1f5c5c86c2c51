#pragma once
// Inputs that tell a story: a list of steps, each a letter, two bytes of length (the lower one
// first) and so many bytes of payload. Every input is a script, whatever it holds.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace fuzz {

/// The values are the letters.
enum class StepKind : char {
    request = 'r', // the payload, as the extension sends it
    longRequest
    = 'l', // the same, followed by blanks up to the length that its first two bytes give
    endOfSession = 'e', // the browser goes; another session begins
    token = 't', // the contents of "bridge-token"
    state = 's', // the contents of "state.json"
    preferences = 'p', // the contents of "preferences.json"
    command = 'c', // a name in "Commands" up to the first line break, then the file's contents
    item = 'k', // puts something else at one of the places: place, form
    padding = 'w', // appends blanks to a file, up to a limit or past it: place, size
    growth = 'g', // lets a file grow after its size was asked: place, bytes
    readLimit = 'i', // at most so many bytes at one reading; 0 takes it back
    failingCall = 'f', // the n-th call of the next request fails: n, error
    clock = 'a', // moves the clock: two bytes forwards or backwards, unit; sets it back if empty
    process = 'x' // whether the application's process exists
};

struct Step {
    StepKind kind = StepKind::request;
    std::string payload;
};

using Script = std::vector<Step>;

[[nodiscard]] Script readScript(std::string_view input);

[[nodiscard]] std::string writeScript(const Script& script);

} // namespace fuzz
