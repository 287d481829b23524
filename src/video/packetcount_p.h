#pragma once

#include "vtcv_export.h"

#include <QString>

#include <functional>

/** Counts what a video file really holds. */
namespace PacketCount {

/**
 * Counts the packets of the video stream in the file at \a path: one for each frame.
 *
 * Reads the whole file, but decodes nothing. Headers and indexes, which may promise more, are not asked.
 *
 * \param isInterrupted is asked for each packet; true ends the count.
 * \return -1 if the number cannot be known: the file does not open as a video, holds single pictures, or the
 * count was interrupted.
 * \thread Any; blocks for as long as reading takes.
 */
VTCV_TEST_EXPORT qint64 ofVideo(const QString &path, const std::function<bool()> &isInterrupted = {});

} // namespace PacketCount
