#pragma once

/// Where in the built file an object is placed.

/// Puts a constant into the section `.msgtable` of its object file, which holds nothing else: the
/// bytes of the event message table. The object needs external linkage, so that the compiler emits
/// it though no code refers to it. `objcopy -O binary -j .msgtable` takes the bytes out.
#if defined(_MSC_VER)
#pragma section(".msgtable", read)
#define ONDREL_IN_MESSAGE_SECTION __declspec(allocate(".msgtable"))
#else
#define ONDREL_IN_MESSAGE_SECTION __attribute__((section(".msgtable")))
#endif
