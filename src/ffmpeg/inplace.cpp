#include "ffmpeg/inplace_p.h"

#include "common/console_p.h"
#include "common/samefile_p.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>

QString InPlace::sideFile(
    const QString &input, const QString &output, const QString &suffix, const QString &mark)
{
    QString side = output;
    const QString dotSuffix = QLatin1Char('.') + suffix;
    side.replace(dotSuffix, mark + dotSuffix);
    if (!SameFile::leadToOne(side, input))
        return side;
    // The suffix is missing or written in the other case, and ffmpeg would overwrite the file that it reads.
    const QFileInfo info(output);
    const QString own = info.suffix().isEmpty() ? QString() : QLatin1Char('.') + info.suffix();
    return info.path() + QLatin1Char('/') + info.completeBaseName() + mark + own;
}

InPlace::Swap InPlace::swap(const QString &side, const QString &original)
{
    Swap done{};
    // If somebody has removed the side file meanwhile, the original is the only version.
    done.removed = QFile::exists(side) && QFile::remove(original);
    done.renamed = QFile::rename(side, original);
    if (done.removed && !done.renamed) {
        writeConsole(QCoreApplication::translate(
            "FFMpegProcessor", "%1 could not be renamed to %2 and stays under its name")
                         .arg(side, original));
    }
    return done;
}
