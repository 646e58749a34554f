#pragma once

/// `ONDREL_API` marks what the library exports; everything else stays hidden.
///
/// `ONDREL_API_INLINE` marks a member that is defined within an exported class and exported with
/// it: with inline functions hidden the mark of the class does not reach it.
///
/// `ONDREL_BUILDING` is defined while the library itself is compiled, `ONDREL_STATIC` by a program
/// that links the objects directly.

#if defined(ONDREL_STATIC)
#define ONDREL_API
#define ONDREL_API_INLINE
#elif defined(_WIN32)
#if defined(ONDREL_BUILDING)
#define ONDREL_API __declspec(dllexport)
#else
#define ONDREL_API __declspec(dllimport)
#endif
// Microsoft's compiler exports such a member by the mark of its class and refuses one of its own.
#if defined(ONDREL_BUILDING) && defined(__GNUC__)
#define ONDREL_API_INLINE ONDREL_API
#else
#define ONDREL_API_INLINE
#endif
#else
#define ONDREL_API __attribute__((visibility("default")))
#define ONDREL_API_INLINE ONDREL_API
#endif
