#pragma once

#include "fuzz.h"
#include "playback/annotationexchange.h"

#include <QBuffer>

/** What \a read takes from any bytes must be whole, and come back as it was through \a write and through CSV.
 */
template <typename Read, typename Write>
void fuzzExchange(const std::uint8_t *data, std::size_t size, Read read, Write write)
{
    const auto checkSame = [](const AnnotationSet &set, auto writeAs, auto readAs) {
        QBuffer file;
        file.open(QIODevice::ReadWrite);
        AnnotationExchangeOptions options;
        const AnnotationReport written = writeAs(set, &file, options);
        FUZZ_CHECK(written.done && written.leftOut == 0 && written.entries == set.entryCount());
        options.numbers = written.numbers;
        file.seek(0);
        AnnotationSet again;
        const AnnotationReport report = readAs(&file, again, options);
        FUZZ_CHECK(report.done && report.problemCount == 0 && report.altered == 0 && report.leftOut == 0);
        FUZZ_CHECK(sameAnnotations(set, again));
    };

    QByteArray bytes(reinterpret_cast<const char *>(data), int(size));
    QBuffer file(&bytes);
    AnnotationSet set;
    const AnnotationReport report = read(&file, set, AnnotationExchangeOptions());
    FUZZ_CHECK(report.entries == set.entryCount());
    FUZZ_CHECK(report.done || report.problemCount > 0);
    FUZZ_CHECK(report.problemCount >= report.problems.size());
    checkSame(set, write, read);
    checkSame(
        set, [](auto &&...of) { return writeCsvAnnotations(of...); },
        [](auto &&...of) { return readCsvAnnotations(of...); });
}
