// Writing where the system writes less than it could. This program's own `write` stands before the
// C library's here, as no file does so on demand.

#include "platform/descriptor_io.h"
#include "tests/support/host_process.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <limits>
#include <string>

#include <sys/syscall.h>
#include <unistd.h>

namespace {

constexpr std::size_t everything = std::numeric_limits<std::size_t>::max();

// The most that a call writes.
std::size_t mostAtOnce = everything;

} // namespace

extern "C" ssize_t write(int descriptor, const void* bytes, std::size_t size)
{
    return ::syscall(SYS_write, descriptor, bytes, std::min(size, mostAtOnce));
}

namespace {

platform::FileResult<void> writeInPieces(int descriptor, const std::string& bytes, std::size_t size)
{
    mostAtOnce = size;
    const auto written = platform::writeAll(descriptor, bytes);
    mostAtOnce = everything;
    return written;
}

TEST(WriteAllInPieces, WritesEveryByteOnce)
{
    const support::Pipe pipe;
    EXPECT_TRUE(writeInPieces(pipe.writeEnd.number(), "abcdefg", 3));
    std::array<char, 16> buffer {};
    EXPECT_EQ(platform::readSome(pipe.readEnd.number(), buffer), 7U);
    EXPECT_EQ(std::string(buffer.data()), "abcdefg");
}

TEST(WriteAllInPieces, FailsWhenNothingIsWrittenAndNoReasonGiven)
{
    const support::Pipe pipe;
    const auto written = writeInPieces(pipe.writeEnd.number(), "abc", 0);
    ASSERT_FALSE(written);
    EXPECT_EQ(written.error().code, EIO);
}

} // namespace
