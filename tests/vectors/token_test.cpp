// Token files.

#include "bridge/bridge_store.h"
#include "tests/support/temporary_directory.h"
#include "tests/vectors/support/vector_file.h"

#include <gtest/gtest.h>

namespace {

using vectors::Vector;

TEST(ReadingTokens, AgreesWithTheLibrary)
{
    const support::TemporaryDirectory directory;
    const bridge::BrowserBridgeStore store { directory.path() };
    vectors::runVectors({ "token.jsonl", 719, 0 }, [&](const Vector& vector) {
        const std::string bytes = vector.bytes("bytes");
        support::writeFile(directory / "bridge-token", bytes);
        const auto token = store.readToken(platform::localFileSystem());
        if (!vector.flag("valid") || vector.mustBeRefused())
            return vectors::judge(!token, "was not refused");
        return vectors::judge(token && *token == bytes, token.value_or("was refused"));
    });
}

} // namespace
