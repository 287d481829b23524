#pragma once

#include <QString>

/** The two names of a conversion to MP4, and what becomes of the files after it. */
class FFMpegMP4
{
public:
    FFMpegMP4(const QString &path, bool removeSource);

    /** The file that `ffmpeg` is to write. */
    QString target() const { return made; }

    /** Brings the files to their places; gives the path under which the video lies then. */
    QString settle(bool ok) const;

private:
    QString source;
    QString made;
    bool inPlace = false; // the source is an MP4, which the target replaces
    bool removes = false;
};
