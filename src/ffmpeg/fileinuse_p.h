#pragma once

#include "vtcv_export.h"

#include <QString>

/** Asks the system about files that `ffmpeg` children read, those of dead programs included. */
namespace FileInUse {

/**
 * True while a child that FFMpegChild has started reads the file at \a path as its source.
 *
 * On Unix such a child holds a shared lock on the file. On Windows any program that has the file open counts.
 *
 * \thread Any. Blocks for a few milliseconds at most.
 */
VTCV_TEST_EXPORT bool isReadByChild(const QString &path);

} // namespace FileInUse
