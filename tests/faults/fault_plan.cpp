#include "fault_plan.h"

#include <dlfcn.h>
#include <execinfo.h>
#include <fcntl.h>
#include <sqlite3.h>
#include <unistd.h>

#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "faulty_sqlite.h"

namespace faults {
namespace {

constexpr std::array<const char*, 11> source_names = {"tool",  "sqlite",   "open",  "read",
                                                      "write", "truncate", "sync",  "size",
                                                      "lock",  "remove",   "access"};

struct Plan {
    bool is_set = false;  // nothing counts before the program's own code begins to run
    Source source = Source::tool;
    unsigned long first = 0;
    bool from_then_on = false;
    bool names_places = false;
    int code = SQLITE_IOERR;
    std::array<unsigned long, source_names.size()> counts{};
};

Plan plan;
int log_file = -1;
int pauses = 0;

Source source_named(const char* name, std::size_t size) {
    for (std::size_t i = 0; i < source_names.size(); ++i)
        if (std::strlen(source_names[i]) == size && std::memcmp(source_names[i], name, size) == 0)
            return static_cast<Source>(i);
    std::fprintf(stderr, "EDGEFOLD_FAULT: no such source: %s\n", name);
    std::abort();
}

void read_plan(const char* text) {
    const std::size_t name_size = std::strcspn(text, ":");
    plan.source = source_named(text, name_size);
    char* rest = nullptr;
    plan.first = std::strtoul(text + name_size + 1, &rest, 10);
    plan.from_then_on = std::strncmp(rest, ":always", 7) == 0;
    plan.names_places = std::strncmp(rest, ":places", 7) == 0;
    const char* const code = std::strchr(rest + 1, ':');
    if (code != nullptr) plan.code = static_cast<int>(std::strtol(code + 1, nullptr, 10));
}

// Before the program's own static objects are made, since these may ask for memory.
__attribute__((constructor(101))) void start() {
    if (const char* const path = std::getenv("EDGEFOLD_FAULT_LOG"))
        log_file = open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    if (const char* const text = std::getenv("EDGEFOLD_FAULT")) read_plan(text);
    std::array<void*, 1> frame;
    backtrace(frame.data(), 1);  // loads what it needs, which takes memory
    install_sqlite_memory();
    if (is_for_files()) install_sqlite_files();
    plan.is_set = true;
}

// Names the place in the program that asks, by a hash of the innermost functions on its stack. A
// sweep that hasn't the time for all calls takes one from each place.
void record_place(unsigned long number) {
    const Pause pause;
    std::array<void*, 12> frames;
    const int count = backtrace(frames.data(), static_cast<int>(frames.size()));
    std::size_t hash = 0;
    for (int i = 0; i < count; ++i) {
        // Where the libraries lie differs from run to run.
        Dl_info info{};
        const auto* const place = static_cast<const char*>(frames[static_cast<std::size_t>(i)]);
        dladdr(place, &info);
        hash = hash * 1000003 +
               static_cast<std::size_t>(place - static_cast<const char*>(info.dli_fbase));
    }
    record("A\t%lu\t%zx", number, hash);
}

// For runs that come to their end by themselves, as all do in which nothing fails.
__attribute__((destructor)) void record_counts() {
    for (std::size_t i = 0; i < source_names.size(); ++i)
        record("T\t%s\t%lu", source_names[i], plan.counts[i]);
    plan.is_set = false;
}

// What a build that counts lines does at the program's end isn't the program's either.
extern "C" void before_counts_are_written() { plan.is_set = false; }

}  // namespace

bool fails(Source source) {
    if (!plan.is_set || pauses != 0) return false;
    const unsigned long number = ++plan.counts[static_cast<std::size_t>(source)];
    if (source != plan.source) return false;
    if (plan.names_places) record_place(number);
    if (plan.first == 0) return false;
    return plan.from_then_on ? number >= plan.first : number == plan.first;
}

int planned_code() { return plan.code; }

bool is_for_files() { return plan.source >= Source::open; }

void record(const char* format, ...) {
    if (log_file < 0) return;
    const Pause pause;
    static std::array<char, 65536> line;
    std::va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(line.data(), line.size() - 1, format, arguments);
    va_end(arguments);
    const std::size_t size = length < static_cast<int>(line.size()) - 1
                                 ? static_cast<std::size_t>(length)
                                 : line.size() - 2;
    line[size] = '\n';
    if (write(log_file, line.data(), size + 1) < 0) std::abort();
}

Pause::Pause() { ++pauses; }
Pause::~Pause() { --pauses; }

}  // namespace faults
