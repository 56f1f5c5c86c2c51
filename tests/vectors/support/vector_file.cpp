#include "tests/vectors/support/vector_file.h"

#include "tests/vectors/support/text_encodings.h"

#include <boost/json/array.hpp>
#include <boost/json/parse.hpp>
#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <fstream>
#include <iostream>

namespace vectors {

namespace {

constexpr std::size_t scalarLimit = 0x110000;

std::size_t hexadecimal(const boost::json::value& text)
{
    return std::stoul(std::string(text.as_string()), nullptr, 16);
}

} // namespace

const boost::json::value& Vector::at(std::string_view key) const
{
    return members_.at({ key.data(), key.size() });
}

bool Vector::has(std::string_view key) const
{
    return members_.contains({ key.data(), key.size() });
}

std::string Vector::text(std::string_view key) const
{
    return std::string(at(key).as_string());
}

std::string Vector::bytes(std::string_view key) const
{
    return bytesOfBase64(text(key));
}

double Vector::number(std::string_view key) const
{
    return std::bit_cast<double>(std::uint64_t { std::stoull(text(key), nullptr, 16) });
}

std::vector<bool> Vector::scalarSet(std::string_view key) const
{
    std::vector<bool> set(scalarLimit);
    for (const boost::json::value& range : at(key).as_array()) {
        const std::size_t last = hexadecimal(range.at(1));
        for (std::size_t scalar = hexadecimal(range.at(0)); scalar <= last; ++scalar)
            set.at(scalar) = true;
    }
    return set;
}

bool Vector::mustBeRefused() const
{
    return has("want") && at("want") == boost::json::value(false);
}

bool Vector::isNotJudged() const
{
    return has("want") && isNull("want");
}

void runVectors(const VectorFile& file, const std::function<Judgement(const Vector&)>& judgeLine)
{
    const std::string name(file.name);
    std::ifstream lines(KESTRANE_VECTORS_DIRECTORY "/" + name);
    ASSERT_TRUE(lines) << name;
    std::size_t runCount = 0;
    std::size_t failureCount = 0;
    std::size_t notJudgedCount = 0;
    std::size_t impossibleCount = 0;
    for (std::string line; std::getline(lines, line);) {
        const Vector vector(boost::json::parse(line).as_object());
        if (vector.isNotJudged()) {
            ++notJudgedCount;
            continue;
        }
        const Judgement judgement = judgeLine(vector);
        if (judgement.outcome == Judgement::Outcome::impossible) {
            ++impossibleCount;
            continue;
        }
        ++runCount;
        if (judgement.outcome == Judgement::Outcome::failed) {
            ++failureCount;
            ADD_FAILURE() << vector.text("id") << ": " << judgement.remark;
        }
    }
    const std::size_t skippedCount = notJudgedCount + impossibleCount;
    std::cout << name << ": " << runCount << " run, " << runCount - failureCount << " passed, "
              << skippedCount << " skipped\n";
    EXPECT_EQ(runCount + skippedCount, file.lineCount) << name;
    EXPECT_EQ(notJudgedCount, file.notJudgedCount) << name;
}

} // namespace vectors
