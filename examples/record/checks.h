#pragma once

#include <QString>

struct Options;

/** A video to record when no source is named: a sample where one is installed, else a clip made in \a folder;
 * empty if none. */
QString defaultSource(const QString &folder);

/** Why the recording cannot be made at all, or an empty text. Makes the output's and the temporary folder. */
QString problemWith(const Options &options);
