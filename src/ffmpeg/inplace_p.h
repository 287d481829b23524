#pragma once

#include <QString>

/** Rewrites a file in place: `ffmpeg` writes a side file, which then takes the place of the original. */
namespace InPlace {

/**
 * A name beside \a output: \a mark is put in front of each occurrence of "." + \a suffix, in folders too.
 *
 * If that would lead to \a input, only the file's own name is marked.
 */
QString sideFile(const QString &input, const QString &output, const QString &suffix, const QString &mark);

struct Swap
{
    bool removed; // the original
    bool renamed; // the side file, to the name of the original
};

/** Removes \a original and gives its name to \a side. If only the second fails, a console line says so. */
Swap swap(const QString &side, const QString &original);

} // namespace InPlace
