#pragma once

#include "vtcv_export.h"

#include <QString>
#include <QStringList>

#include <functional>

/** Runs `ffmpeg` once and waits for it: for the workers of the library, which have nothing else to do. */
namespace ffmpegcall {

/**
 * Runs `ffmpeg` with \a arguments, the last of which is the output. An existing output is overwritten.
 *
 * \param arguments paths among them are absolute.
 * \param isCancelled is asked ten times a second; true ends the child.
 * \return an empty text after success, otherwise what went wrong: what `ffmpeg` said last.
 */
VTCV_TEST_EXPORT QString run(
    const QStringList &arguments, int timeoutMs, const std::function<bool()> &isCancelled);

/** The length of a file's sound in s, by decoding it; 0 if it has none. */
VTCV_TEST_EXPORT double soundLengthS(
    const QString &path, int timeoutMs, const std::function<bool()> &isCancelled);

} // namespace ffmpegcall
