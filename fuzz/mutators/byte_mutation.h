#pragma once
// What the fuzzing engine itself does to bytes.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

extern "C" std::size_t LLVMFuzzerMutate(
    std::uint8_t* data, std::size_t size, std::size_t maximumSize);

namespace fuzz {

/// `text` after some mutation of its bytes, at most `maximumSize` of them.
inline std::string withMutatedBytes(std::string text, std::size_t maximumSize)
{
    std::vector<std::uint8_t> bytes(text.begin(), text.end());
    const std::size_t size = std::min(bytes.size(), maximumSize);
    bytes.resize(std::max<std::size_t>(maximumSize, 1));
    bytes.resize(LLVMFuzzerMutate(bytes.data(), size, maximumSize));
    return { bytes.begin(), bytes.end() };
}

/// Puts `text` in the place of an input, cut to what there is room for.
inline std::size_t replaceInput(
    const std::string& text, std::uint8_t* data, std::size_t maximumSize)
{
    const std::size_t size = std::min(text.size(), maximumSize);
    std::copy_n(text.begin(), size, data);
    return size;
}

} // namespace fuzz
