#pragma once

#include "vtcv_export.h"

#include <QString>

/** Copies packets from one file to another without coding. */
namespace VideoRemux {

/**
 * Makes an ordinary file with its index in front of the fragmented .mp4 or .mov at \a path.
 *
 * It is made beside and takes the place in one step, when it holds all of the \a frames frames; otherwise the
 * fragmented file stays.
 *
 * \return why it stays; empty if it is an ordinary file now.
 */
VTCV_TEST_EXPORT QString toOrdinary(const QString &path, qint64 frames);

} // namespace VideoRemux
