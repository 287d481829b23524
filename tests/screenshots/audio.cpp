#include "audio/audioinfo.h"
#include "audio/audiolevelbar.h"
#include "audio/audiorecorderwidget.h"
#include "screenshots/sheet.h"
#include "support/virtualmicrophones.h"

#include <QtWidgets>

#include <cmath>

namespace {

// The row of boxes with a level bar: a tone at `decibels` in one channel and one of half that in the other.
QPixmap soundPicture(double decibels)
{
    QAudioFormat format;
    format.setCodec(QStringLiteral("audio/pcm"));
    format.setSampleRate(8000);
    format.setChannelCount(2);
    format.setSampleSize(16);
    format.setSampleType(QAudioFormat::SignedInt);
    format.setByteOrder(QAudioFormat::Endian(QSysInfo::ByteOrder));
    AudioInfo meter;
    meter.setFormat(format);
    QWidget window;
    auto *const row = new QHBoxLayout(&window);
    row->addWidget(new AudioRecorderWidget);
    row->addWidget(new AudioLevelBar(&meter), 1);
    const double height = 32767 * std::pow(10, decibels / 20);
    for (int i = 0; i < 4000; ++i) {
        const double wave = std::sin(i * 0.35);
        const qint16 frame[] = {qint16(std::lround(height * wave)), qint16(std::lround(height / 2 * wave))};
        meter.write(reinterpret_cast<const char *>(frame), sizeof(frame));
    }
    return picture(&window, {420, window.sizeHint().height()});
}

} // namespace

bool saveSoundSheets(const QString &folder, const QString &ending)
{
    virtualmicrophones::setDevices({{QStringLiteral("Desk microphone"), {8000, 44100, 48000}}});
    Sheet sound(2);
    for (double decibels : {-18.0, 0.0}) {
        // Its texts are all in tool tips, so one language tells it all.
        for (const Look &look : {looks[0], looks[1]})
            with(look,
                [&] { sound.add(QLatin1String(look.isDark ? "Dark" : "Light"), soundPicture(decibels)); });
    }
    return sound.save(folder + QStringLiteral("/sound-row") + ending);
}
