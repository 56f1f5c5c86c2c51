// Texts of UUIDs.

#include "base/uuid.h"
#include "tests/vectors/support/vector_file.h"

#include <gtest/gtest.h>

namespace {

using vectors::Vector;

TEST(ParsingUUIDs, AgreesWithTheLibrary)
{
    vectors::runVectors({ "uuid_parse.jsonl", 582, 0 }, [](const Vector& vector) {
        const auto uuid = base::parseUUID(vector.bytes("text"));
        if (!vector.flag("ok") || vector.mustBeRefused())
            return vectors::judge(!uuid, "was not refused");
        if (!uuid)
            return vectors::failed("was refused");
        return vectors::judge(
            base::upperCaseText(*uuid) == vector.text("canonical"), base::upperCaseText(*uuid));
    });
}

} // namespace
