#include "ffmpeg/ffmpegmp4_p.h"

#include "baselib/console_p.h"
#include "baselib/samefile_p.h"
#include "ffmpeg/ffmpeghelperjob.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>

FFMpegMP4::FFMpegMP4(const QString &path, bool removeSource) : source(path), made(path), removes(removeSource)
{
    const QString suffix(QStringLiteral(".mp4"));
    made.replace(QLatin1Char('.') + QFileInfo(path).suffix(), suffix);
    inPlace = made.compare(path, Qt::CaseInsensitive) == 0;
    if (inPlace)
        made.replace(suffix, QStringLiteral("_.mp4"));
}

QString FFMpegMP4::settle(bool ok) const
{
    if (!inPlace) {
        if (ok && removes)
            QFile::remove(source);
        return ok ? made : source;
    }
    if (ok) {
        QFile::remove(source);
        if (!QFile::rename(made, source) && !QFile::exists(source)) {
            // The new file is the only version left, so it must not be tidied away.
            writeConsole(FFMPEGHelperJob::tr("%1 could not be renamed to %2 and stays under its name")
                             .arg(made, source));
            return made;
        }
    }
    if (made != source && QFile::exists(source) && !SameFile::leadToOne(made, source))
        QFile::remove(made);
    return source;
}
