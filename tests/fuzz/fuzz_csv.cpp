#include "exchange.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    fuzzExchange(
        data, size, [](auto &&...of) { return readCsvAnnotations(of...); },
        [](auto &&...of) { return writeCsvAnnotations(of...); });
    return 0;
}
