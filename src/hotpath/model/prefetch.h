// A hint to bring memory into the cache. Where rows come in random order nearly every step of a
// lookup waits for memory; asked for early, the waits of many rows overlap.
#pragma once

namespace hotpath {

inline void prefetch(const void* place) {
#if defined(__GNUC__)
    __builtin_prefetch(place);
#else
    static_cast<void>(place);
#endif
}

}  // namespace hotpath
