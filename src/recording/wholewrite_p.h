#pragma once

#include <QFile>

/**
 * Writes all \a size bytes to an unbuffered \a file, or is false with the reason in its errorString(): a full
 * disk takes a part first, which is no error yet.
 */
inline bool writeWhole(QFile &file, const char *bytes, qint64 size)
{
    qint64 done = 0;
    while (done < size) {
        const qint64 taken = file.write(bytes + done, size - done);
        if (taken <= 0)
            return false;
        done += taken;
    }
    return true;
}
