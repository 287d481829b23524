#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

/** What a target implements: it takes any bytes, returns 0 and stops the program where something is wrong. */
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

/** Stops the program, in every build type, unless \a condition holds; the fuzzer then keeps the input. */
#define FUZZ_CHECK(condition)                                                                                \
    do {                                                                                                     \
        if (!(condition)) {                                                                                  \
            std::fprintf(stderr, "%s:%d: does not hold: %s\n", __FILE__, __LINE__, #condition);              \
            std::abort();                                                                                    \
        }                                                                                                    \
    } while (false)
