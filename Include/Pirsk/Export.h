#pragma once

/// `PIRSK_API` marks what the base library exports; everything else stays hidden.
///
/// `PIRSK_BUILDING` is defined while the library itself is compiled, `PIRSK_STATIC` by a program
/// that links its objects directly.

#if defined(PIRSK_STATIC)
#define PIRSK_API
#elif defined(_WIN32)
#if defined(PIRSK_BUILDING)
#define PIRSK_API __declspec(dllexport)
#else
#define PIRSK_API __declspec(dllimport)
#endif
#else
#define PIRSK_API __attribute__((visibility("default")))
#endif
