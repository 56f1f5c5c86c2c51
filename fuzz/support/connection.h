#pragma once
// A connection whose bytes lie in memory. In the programs that link this file, the C library's read
// and write are replaced: for the connection's descriptor they come here, so that every call can be
// cut short, interrupted or refused as an input says, and none costs a system call.

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace fuzz {

/// What the bytes of the schedule do, one to a call, in turn for reading and writing. When the
/// schedule is over, every call is carried out in full.
enum CallOrder : unsigned char {
    inFull = 0, // anything up to 0xFB cuts the call to so many bytes
    interrupted = 0xFC,
    wouldBlock = 0xFD,
    failing = 0xFE,
    nothing = 0xFF // no bytes and no error: of reading, the end
};

class Connection {
public:
    /// Only one at a time. `input` is what the browser sends before it closes its end.
    Connection(std::string_view schedule, std::string_view input);
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    ~Connection();

    /// The descriptor to read from and to write to.
    [[nodiscard]] static int descriptor();

    /// What was read.
    [[nodiscard]] std::string_view consumed() const { return input_.substr(0, consumed_); }

    /// What was written, in pieces: another one begins after each failure to write.
    [[nodiscard]] const std::vector<std::string>& written() const { return written_; }

    // The calls, as the C library has them.
    [[nodiscard]] std::ptrdiff_t read(char* buffer, std::size_t size);
    [[nodiscard]] std::ptrdiff_t write(const char* bytes, std::size_t size);

private:
    // How many of `size` bytes the next call handles, or -1 with an error.
    [[nodiscard]] std::ptrdiff_t nextCall(std::size_t size);

    std::string_view schedule_;
    std::string_view input_;
    std::size_t consumed_ = 0;
    std::vector<std::string> written_ { 1 };
};

} // namespace fuzz
