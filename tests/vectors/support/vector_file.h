#pragma once
// Reads the files of vectors beside this folder and holds a program against every line of them.

#include <boost/json/object.hpp>
#include <boost/json/value.hpp>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vectors {

/// One line of a file. A member that is asked for and not there, or of another type, stops the test
/// program.
class Vector {
public:
    explicit Vector(boost::json::object members)
        : members_(std::move(members))
    {
    }

    [[nodiscard]] const boost::json::value& at(std::string_view key) const;
    [[nodiscard]] bool has(std::string_view key) const;
    [[nodiscard]] bool isNull(std::string_view key) const { return at(key).is_null(); }
    [[nodiscard]] bool flag(std::string_view key) const { return at(key).as_bool(); }

    /// A text that stands as it is.
    [[nodiscard]] std::string text(std::string_view key) const;

    /// Bytes that stand as base64.
    [[nodiscard]] std::string bytes(std::string_view key) const;

    /// A double that stands as the 16 hexadecimal digits of its bits.
    [[nodiscard]] double number(std::string_view key) const;

    /// A set of scalar values that stands as ranges of hexadecimal numbers: one entry per scalar
    /// value.
    [[nodiscard]] std::vector<bool> scalarSet(std::string_view key) const;

    /// Whether the line describes whole sets and no single case.
    [[nodiscard]] bool isTable() const { return text("kind") == "table"; }

    /// Whether the program must refuse what the application's library lets pass.
    [[nodiscard]] bool mustBeRefused() const;

    /// Whether nothing is asked of the program.
    [[nodiscard]] bool isNotJudged() const;

private:
    boost::json::object members_;
};

/// What became of one line.
struct Judgement {
    enum class Outcome : std::uint8_t { passed, failed, impossible };

    Outcome outcome = Outcome::passed;
    std::string remark;
};

[[nodiscard]] inline Judgement passed()
{
    return {};
}

[[nodiscard]] inline Judgement failed(std::string remark)
{
    return { Judgement::Outcome::failed, std::move(remark) };
}

/// Passed if `holds`, else failed with `remark`.
[[nodiscard]] inline Judgement judge(bool holds, std::string remark)
{
    return holds ? passed() : failed(std::move(remark));
}

/// For a case that the operating system at hand cannot bring about.
[[nodiscard]] inline Judgement impossible()
{
    return { Judgement::Outcome::impossible, {} };
}

/// How many lines a file has, and how many of them are not judged: a file that was cut short must
/// not pass.
struct VectorFile {
    std::string_view name;
    std::size_t lineCount = 0;
    std::size_t notJudgedCount = 0;
};

/// Gives every line of `file` that is judged to `judgeLine`. A line that failed fails the test and
/// is named by its id. Prints the figures.
void runVectors(const VectorFile& file, const std::function<Judgement(const Vector&)>& judgeLine);

} // namespace vectors
