#include "exchange.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    fuzzExchange(
        data, size, [](auto &&...of) { return readCocoAnnotations(of...); },
        [](auto &&...of) { return writeCocoAnnotations(of...); });
    return 0;
}
