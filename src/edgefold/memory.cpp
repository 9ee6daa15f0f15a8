// The program's own `operator new`: exhausted memory ends it with the message that a failed
// allocation has everywhere else, also where a standard container asked. It belongs to the program,
// not to the libraries: another program that links these keeps its own.
#include <cstdlib>
#include <new>

#include "diag/checked_memory.h"

void* operator new(std::size_t size) { return diag::checked_malloc(size); }
void* operator new[](std::size_t size) { return diag::checked_malloc(size); }

// Callers of these look at the result.
void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    return std::malloc(size == 0 ? 1 : size);
}
void* operator new[](std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    return std::malloc(size == 0 ? 1 : size);
}

void operator delete(void* block) noexcept { std::free(block); }
void operator delete[](void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t /*size*/) noexcept { std::free(block); }
void operator delete[](void* block, std::size_t /*size*/) noexcept { std::free(block); }
void operator delete(void* block, const std::nothrow_t& /*tag*/) noexcept { std::free(block); }
void operator delete[](void* block, const std::nothrow_t& /*tag*/) noexcept { std::free(block); }
