#pragma once

// Marks a function or class as part of the library's exported boundary.
// Everything else is built with hidden visibility.
#if defined(__GNUC__) || defined(__clang__)
#define NUMORA_API __attribute__((visibility("default")))
#else
#define NUMORA_API
#endif
