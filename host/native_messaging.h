#pragma once
// Frames on standard input and output: a 4-byte length in native byte order, then that many bytes
// of UTF-8 JSON (Chrome for Developers, "Native messaging"). Nothing is read beyond a frame's end,
// and nothing is buffered on the way out: a response is in the pipe when `writeResponse` returns.

#include "host/messages.h"

#include <cstddef>
#include <optional>
#include <string>

namespace host {

/// The payload of the next frame: 1 to `maximumMessageBytes` bytes. None when the session is over:
/// at the end of input, also inside a frame, at a read error, and at a length of 0 or above
/// `maximumMessageBytes`, whose payload stays unread.
[[nodiscard]] std::optional<std::string> readMessage(int inputDescriptor);

/// Exactly `count` bytes, however many pieces they come in; none at the end of input or a read
/// error.
[[nodiscard]] std::optional<std::string> readExactly(int inputDescriptor, std::size_t count);

/// Writes the response as one frame: one write call for the length and one for the JSON. A response
/// that cannot be encoded or is longer than `maximumMessageBytes` is dropped whole. If the length
/// cannot be written, the JSON is not either; write errors are not reported.
void writeResponse(int outputDescriptor, const NativeHostResponse& response);

} // namespace host
