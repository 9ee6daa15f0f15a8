// The reader of callgrind's recordings: on bytes of any kind, which give a message or counts that
// add up.
#include <cstdint>
#include <cstdio>
#include <limits>
#include <string>

#include "callgrind/recording.h"
#include "fuzz_input.h"

namespace {

// The counts of one recording that was read.
void check_counts(const callgrind::Recording& recording) {
    std::uint64_t executed = 0;
    for (const callgrind::Object& object : recording.objects())
        for (const auto& [address, count] : object.executed) executed += count;
    const bool full = recording.instructions() == std::numeric_limits<std::uint64_t>::max();
    fuzz::require(full || executed == recording.instructions(), "counts that add up");
    for (const auto& [call, count] : recording.calls()) {
        const auto& [source, destination, name] = call;
        fuzz::require(source.object < recording.objects().size(), "the caller's object");
        fuzz::require(destination.object < recording.objects().size(), "the object called");
        fuzz::require(recording.function_name(name).size() < 1U << 20,
                      "the name of the function called");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string bytes(reinterpret_cast<const char*>(data), size);
    if (bytes.empty()) bytes = "\n";  // no stream of memory is empty
    std::FILE* const file = fmemopen(bytes.data(), bytes.size(), "r");
    callgrind::Recording recording;
    std::string problem;
    const bool good = recording.read(file, problem);
    std::fclose(file);
    fuzz::require(good == problem.empty(), "a message where there is no recording");
    if (good) check_counts(recording);
    return 0;
}
