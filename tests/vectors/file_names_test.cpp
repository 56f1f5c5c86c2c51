// Names of command files: which are taken up, and in which order.

#include "bridge/bridge_store.h"
#include "tests/support/temporary_directory.h"
#include "tests/vectors/support/text_encodings.h"
#include "tests/vectors/support/vector_file.h"

#include <boost/json/array.hpp>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <functional>
#include <iostream>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace {

using vectors::Judgement;
using vectors::Vector;

constexpr base::Timestamp now { 800000000 };
constexpr const char* token = "token";
constexpr const char* browser = "browser";

class CommandDirectory {
public:
    CommandDirectory() { support::makeDirectory(commands()); }

    // False if the system at hand has no such names.
    [[nodiscard]] bool put(const std::string& name, const std::string& contents) const
    {
        std::ofstream stream(commands() + "/" + name, std::ios::binary);
        if (!stream) {
            EXPECT_EQ(errno, EILSEQ) << name;
            return false;
        }
        stream << contents;
        return true;
    }

    [[nodiscard]] std::size_t fileCount() const { return support::namesIn(commands()).size(); }
    [[nodiscard]] bool holds(const std::string& name) const
    {
        return support::exists(commands() + "/" + name);
    }
    void remove(const std::string& name) const
    {
        EXPECT_EQ(std::remove((commands() + "/" + name).c_str()), 0);
    }

    [[nodiscard]] std::vector<bridge::BrowserBridgeCommand> consume() const
    {
        return bridge::BrowserBridgeStore { root_.path() }.consumeCommands(
            token, browser, std::nullopt, now, platform::localFileSystem(), 60.0);
    }

private:
    [[nodiscard]] std::string commands() const { return root_ / "Commands"; }

    support::TemporaryDirectory root_;
};

// The library hides a name by its first user-perceived character, so that "." with a mark is not
// hidden; the program hides every name whose first byte is ".", as the writer's temporary names
// promise.
bool isTaken(const Vector& vector)
{
    return vector.flag("taken") && !vector.bytes("name").starts_with('.');
}

TEST(CommandFileNames, AreTakenUpAsByTheLibrary)
{
    const CommandDirectory directory;
    vectors::runVectors({ "path_extension.jsonl", 368, 0 }, [&directory](const Vector& vector) {
        const std::string name = vector.bytes("name");
        if (!directory.put(name, "no command"))
            return vectors::impossible();
        EXPECT_TRUE(directory.consume().empty());
        if (!directory.holds(name))
            return vectors::judge(isTaken(vector), "was taken");
        directory.remove(name);
        return vectors::judge(!isTaken(vector), "was not taken");
    });
}

std::vector<std::string> namesOf(const Vector& vector, const char* key)
{
    std::vector<std::string> names;
    for (const boost::json::value& index : vector.at(key).as_array())
        names.push_back(vectors::bytesOfBase64(std::string(index.as_string())));
    return names;
}

bool isASCII(const std::vector<std::string>& names)
{
    return std::ranges::all_of(names, [](const std::string& name) {
        return std::ranges::all_of(
            name, [](char character) { return static_cast<unsigned char>(character) < 0x80; });
    });
}

// A command that carries the index of its file's name.
std::string commandOf(std::size_t index)
{
    bridge::BrowserBridgeCommandEnvelope envelope { .token = token };
    envelope.command.id.bytes.back() = static_cast<std::uint8_t>(index);
    envelope.command.browserBundleIdentifier = browser;
    envelope.command.createdAt = now;
    return bridge::encode(envelope).value_or("");
}

// Those of `order` that are names of commands.
std::vector<std::size_t> commandsAmong(
    std::vector<std::size_t> order, const std::vector<std::string>& names)
{
    std::erase_if(
        order, [&names](std::size_t index) { return !names[index].ends_with(".command"); });
    return order;
}

class OrderJudge {
public:
    Judgement operator()(const Vector& vector)
    {
        const std::vector<std::string> names = namesOf(vector, "names");
        const CommandDirectory directory;
        for (std::size_t index = 0; index < names.size(); ++index) {
            if (!directory.put(names[index], commandOf(index)))
                return vectors::impossible();
        }
        if (directory.fileCount() < names.size())
            return vectors::impossible(); // The file system takes two of them for the same name.

        std::vector<std::size_t> delivered;
        for (const bridge::BrowserBridgeCommand& command : directory.consume())
            delivered.push_back(command.id.bytes.back());
        if (delivered != commandsAmong(byteOrder(names), names))
            return vectors::failed("is not delivered in byte order");

        const bool agrees = delivered == commandsAmong(observedOrder(vector), names);
        agreementCount_ += agrees ? 1U : 0U;
        return vectors::judge(agrees || !isASCII(names), "is not delivered in the observed order");
    }

    [[nodiscard]] std::size_t agreementCount() const { return agreementCount_; }

private:
    static std::vector<std::size_t> byteOrder(const std::vector<std::string>& names)
    {
        std::set<std::pair<std::vector<unsigned char>, std::size_t>> sorted;
        for (std::size_t index = 0; index < names.size(); ++index)
            sorted.emplace(
                std::vector<unsigned char>(names[index].begin(), names[index].end()), index);
        std::vector<std::size_t> order;
        order.reserve(sorted.size());
        for (const auto& [name, index] : sorted)
            order.push_back(index);
        return order;
    }

    static std::vector<std::size_t> observedOrder(const Vector& vector)
    {
        std::vector<std::size_t> order;
        for (const boost::json::value& index : vector.at("order").as_array())
            order.push_back(index.to_number<std::size_t>());
        return order;
    }

    std::size_t agreementCount_ = 0;
};

TEST(CommandFileNames, AreDeliveredInByteOrderWhichIsTheLibrarysForASCII)
{
    OrderJudge judge;
    vectors::runVectors({ "string_order.jsonl", 275, 0 }, std::ref(judge));
    std::cout << judge.agreementCount() << " of these are in the library's order\n";
}

} // namespace
