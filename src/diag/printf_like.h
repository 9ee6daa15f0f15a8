// Lets the compiler hold a format text against the arguments that follow it.
#pragma once

// `text` and `first` are the positions of the format and of its first argument, counted from 1.
#if defined(__GNUC__)
#define DIAG_PRINTF_LIKE(text, first) __attribute__((format(printf, text, first)))
#else
#define DIAG_PRINTF_LIKE(text, first)
#endif
