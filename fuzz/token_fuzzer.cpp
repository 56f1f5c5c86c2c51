// The token file.

#include "bridge/bridge_store.h"
#include "fuzz/support/byte_source.h"
#include "fuzz/support/claims.h"
#include "fuzz/support/memory_file_system.h"
#include "fuzz/support/naive_text.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view text = fuzz::textOf(data, size);
    fuzz::MemoryFileSystem fileSystem;
    fileSystem.put("/bridge-token", { .contents = std::string(text) });
    const bridge::BrowserBridgeStore store { .rootURL = "/" };
    const auto token = store.readToken(fileSystem);
    fuzz::requireFor(token.has_value() == fuzz::isNaiveToken(text),
        "exactly 64 hexadecimal digits are a token", text);
    fuzz::requireFor(!token || *token == text, "the token is the file's text, unchanged", text);
    fuzz::requireFor(token || token.error() == bridge::BrowserBridgeStoreError::tokenUnavailable,
        "every failure is that there is no token", text);
    fuzz::require(fileSystem.openFileCount() == 0, "no file stays open");
    return 0;
}
