#pragma once

/// `ONDREL_API` marks what the library exports; everything else stays hidden.
///
/// `ONDREL_BUILDING` is defined while the library itself is compiled, `ONDREL_STATIC` by a program
/// that links the objects directly.

#if defined(ONDREL_STATIC)
#define ONDREL_API
#elif defined(_WIN32)
#if defined(ONDREL_BUILDING)
#define ONDREL_API __declspec(dllexport)
#else
#define ONDREL_API __declspec(dllimport)
#endif
#else
#define ONDREL_API __attribute__((visibility("default")))
#endif
