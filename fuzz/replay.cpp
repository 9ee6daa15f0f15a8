// Runs one fuzzer over kept inputs, without the fuzzing engine: any compiler builds it.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "fuzz_input.h"

namespace {

void replay(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(file), {}};
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
}

}  // namespace

int main(int argument_count, char** arguments) {
    if (argument_count != 2) {
        std::fprintf(stderr, "Usage: %s DIRECTORY\n", arguments[0]);
        return 2;
    }
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(arguments[1])) {
        std::printf("%s\n", entry.path().filename().c_str());
        std::fflush(stdout);  // the last line names the input that failed
        replay(entry.path());
        ++count;
    }
    std::printf("%d inputs\n", count);
    return count == 0 ? 1 : 0;
}
