// The C heap, failing by plan, and SQLite's own on top of it. Whoever links this program's
// libraries comes here: the tool through its allocators, the C and C++ libraries from inside. The
// log names the functions on the stack of each failure, so that the sweep knows who was refused.
#include <dlfcn.h>
#include <execinfo.h>
#include <sqlite3.h>

#include <array>
#include <cerrno>
#include <cstddef>

#include "fault_plan.h"
#include "faulty_sqlite.h"

// The address sanitizer has its own heap functions, which can't be replaced; there only the calls
// of the tool's own code are led here, by the linker.
#if defined(__SANITIZE_ADDRESS__)
#define INTERPOSED(name) __wrap_##name
#define ORIGINAL(name) __real_##name
#else
#define INTERPOSED(name) name
#define ORIGINAL(name) __libc_##name
#endif

namespace {

void record_callers() {
    const faults::Pause pause;
    std::array<void*, 64> frames;
    const int count = backtrace(frames.data(), static_cast<int>(frames.size()));
    for (int i = 0; i < count; ++i) {
        Dl_info info{};
        if (dladdr(frames[static_cast<std::size_t>(i)], &info) != 0 && info.dli_sname != nullptr)
            faults::record("W\t%s", info.dli_sname);
    }
}

bool is_refused(std::size_t size) {
    if (!faults::fails(faults::Source::tool)) return false;
    faults::record("F\ttool\t%zu", size);
    record_callers();
    errno = ENOMEM;
    return true;
}

sqlite3_mem_methods original_methods;

bool sqlite_is_refused(int size) {
    if (!faults::fails(faults::Source::sqlite)) return false;
    faults::record("F\tsqlite\t%d", size);
    return true;
}

void* sqlite_allocate(int size) {
    if (sqlite_is_refused(size)) return nullptr;
    const faults::Pause pause;
    return original_methods.xMalloc(size);
}

void* sqlite_reallocate(void* block, int size) {
    if (sqlite_is_refused(size)) return nullptr;
    const faults::Pause pause;
    return original_methods.xRealloc(block, size);
}

}  // namespace

extern "C" {

void* ORIGINAL(malloc)(std::size_t size) noexcept;
void* ORIGINAL(calloc)(std::size_t count, std::size_t size) noexcept;
void* ORIGINAL(realloc)(void* block, std::size_t size) noexcept;

void* INTERPOSED(malloc)(std::size_t size) noexcept;
void* INTERPOSED(calloc)(std::size_t count, std::size_t size) noexcept;
void* INTERPOSED(realloc)(void* block, std::size_t size) noexcept;

void* INTERPOSED(malloc)(std::size_t size) noexcept {
    return is_refused(size) ? nullptr : ORIGINAL(malloc)(size);
}

void* INTERPOSED(calloc)(std::size_t count, std::size_t size) noexcept {
    return is_refused(count * size) ? nullptr : ORIGINAL(calloc)(count, size);
}

void* INTERPOSED(realloc)(void* block, std::size_t size) noexcept {
    return is_refused(size) ? nullptr : ORIGINAL(realloc)(block, size);
}
}

namespace faults {

void install_sqlite_memory() {
    sqlite3_config(SQLITE_CONFIG_GETMALLOC, &original_methods);
    sqlite3_mem_methods methods = original_methods;
    methods.xMalloc = sqlite_allocate;
    methods.xRealloc = sqlite_reallocate;
    sqlite3_config(SQLITE_CONFIG_MALLOC, &methods);
    // Without its own store of small blocks each of them is asked for, and can be refused.
    sqlite3_config(SQLITE_CONFIG_LOOKASIDE, 0, 0);
}

}  // namespace faults
