// Runs a fuzz target over files instead of what a fuzzer thinks of, so that every compiler's tests
// can.
//
// Usage: TARGET_replay FILE-OR-DIRECTORY...      the files of a directory in the order of their
// names

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

using Path = std::filesystem::path;

std::vector<Path> filesAt(const Path& path)
{
    std::vector<Path> files;
    if (!std::filesystem::is_directory(path))
        return { path };
    for (const auto& entry : std::filesystem::directory_iterator(path))
        files.push_back(entry.path());
    std::ranges::sort(files);
    return files;
}

bool replay(const Path& path)
{
    std::ifstream file(path, std::ios::binary);
    const std::vector<char> bytes { std::istreambuf_iterator<char>(file), {} };
    if (file.bad() || !file.is_open()) {
        std::fprintf(stderr, "Cannot read %s\n", path.c_str());
        return false;
    }
    // Exactly as large as the input, so that a sanitizer sees every byte that is read beyond it.
    std::vector<std::uint8_t> input(bytes.begin(), bytes.end());
    input.shrink_to_fit();
    // A wrong claim ends the process: this line says where.
    std::fprintf(stderr, "%s\n", path.c_str());
    LLVMFuzzerTestOneInput(input.data(), input.size());
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    std::size_t count = 0;
    for (int index = 1; index < argc; ++index) {
        for (const Path& file : filesAt(argv[index])) {
            if (!replay(file))
                return 1;
            ++count;
        }
    }
    std::printf("%zu inputs\n", count);
    // A corpus that is not there must not look like one that passes.
    return count > 0 ? 0 : 1;
}
