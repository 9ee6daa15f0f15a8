// Whether the plain 64-bit x86 instruction set is there, on which every such processor has these
// operations. Elsewhere the portable forms serve.
#pragma once

#if defined(__SSE2__) || defined(_M_X64)
#include <emmintrin.h>
#define HOTPATH_HAS_SSE2 1
#endif
