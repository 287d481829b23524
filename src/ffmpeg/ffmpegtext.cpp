#include "ffmpeg/ffmpegtext_p.h"

namespace {

constexpr int lastLinesKept = 20;
constexpr int longestLineKept = 4096; // bytes

} // namespace

QStringList FFMpegText::append(const QByteArray &chunk)
{
    QStringList ended;
    for (const char c : chunk) {
        if (c == '\n') {
            if (!begun.isEmpty()) {
                lines << QString::fromLocal8Bit(begun);
                if (!returned)
                    ended << lines.last();
            }
            if (lines.size() > lastLinesKept)
                lines.removeFirst();
            begun.clear();
            returned = false;
        } else if (c == '\r') {
            if (!returned && !begun.isEmpty())
                ended << QString::fromLocal8Bit(begun);
            returned = true;
        } else {
            if (returned)
                begun.clear();
            returned = false;
            if (begun.size() < longestLineKept)
                begun += c;
        }
    }
    return ended;
}

QString FFMpegText::lastLines() const
{
    QStringList all = lines;
    if (!begun.isEmpty())
        all << QString::fromLocal8Bit(begun);
    return all.mid(qMax(0, all.size() - lastLinesKept)).join(QLatin1Char('\n'));
}

void FFMpegText::clear()
{
    *this = FFMpegText();
}
