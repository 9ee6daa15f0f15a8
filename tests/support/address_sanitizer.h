// Whether the tests run under the address sanitizer, which changes what happens where memory ends.
#pragma once

#if defined(__SANITIZE_ADDRESS__)
#define UNDER_ADDRESS_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define UNDER_ADDRESS_SANITIZER 1
#endif
#endif
#ifndef UNDER_ADDRESS_SANITIZER
#define UNDER_ADDRESS_SANITIZER 0
#endif
