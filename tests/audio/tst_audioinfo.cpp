#include "audio/audioinfo.h"
#include "audio/audiolevelbar.h"
#include "support/metaface.h"

#include <QAccessible>
#include <QtEndian>
#include <QtTest>

#include <cmath>
#include <cstring>
#include <limits>

namespace {

constexpr double pi = 3.14159265358979323846;

QAudioFormat formatOf(
    int bits, QAudioFormat::SampleType type, bool isLittle, int channels = 1, int rateHz = 1000)
{
    QAudioFormat format;
    format.setCodec(QStringLiteral("audio/pcm"));
    format.setSampleRate(rateHz);
    format.setChannelCount(channels);
    format.setSampleSize(bits);
    format.setSampleType(type);
    format.setByteOrder(isLittle ? QAudioFormat::LittleEndian : QAudioFormat::BigEndian);
    return format;
}

// `value` from -1 to 1 as a sample of that format, written down without a look at how it is read.
QByteArray sampleOf(double value, const QAudioFormat &format)
{
    const int bytes = format.sampleSize() / 8;
    QByteArray sample(bytes, '\0');
    quint64 code = 0;
    if (format.sampleType() == QAudioFormat::Float) {
        const auto real = float(value);
        quint32 pattern = 0;
        std::memcpy(&pattern, &real, sizeof(real));
        code = pattern;
    } else {
        const double full = std::pow(2.0, format.sampleSize() - 1);
        const double stored = std::min(std::round(value * full), full - 1)
            + (format.sampleType() == QAudioFormat::UnSignedInt ? full : 0);
        code = quint64(qint64(stored));
    }
    for (int i = 0; i < bytes; ++i) {
        const int place = format.byteOrder() == QAudioFormat::LittleEndian ? i : bytes - 1 - i;
        sample[place] = char((code >> (8 * i)) & 0xff);
    }
    return sample;
}

} // namespace

class AudioInfoTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void metaObjectIsComplete()
    {
        QCOMPARE(
            metaface::ofClass(AudioInfo::staticMetaObject), QStringList{QStringLiteral("signal update()")});
    }

    void levelsAreThoseOfTheSamples_data()
    {
        QTest::addColumn<int>("bits");
        QTest::addColumn<QAudioFormat::SampleType>("type");
        for (int bits : {8, 16, 24, 32}) {
            QTest::addRow("%d bit signed", bits) << bits << QAudioFormat::SignedInt;
            QTest::addRow("%d bit unsigned", bits) << bits << QAudioFormat::UnSignedInt;
        }
        QTest::addRow("float") << 32 << QAudioFormat::Float;
    }

    void levelsAreThoseOfTheSamples()
    {
        QFETCH(int, bits);
        QFETCH(QAudioFormat::SampleType, type);
        const double step = std::pow(2.0, 1 - bits);
        for (const bool isLittle : {true, false}) {
            // A sine at half scale, silence, and the lowest value of all.
            const QAudioFormat format = formatOf(bits, type, isLittle, 3);
            AudioInfo meter;
            QVERIFY(meter.setFormat(format));
            QSignalSpy updates(&meter, &AudioInfo::update);
            QByteArray sound;
            for (int i = 0; i < 100; ++i)
                sound += sampleOf(0.5 * std::sin(2 * pi * i / 20), format) + sampleOf(0, format)
                    + sampleOf(-1, format);
            // In pieces that end within a frame, and within a sample.
            for (int at = 0; at < sound.size(); at += 7)
                QCOMPARE(meter.write(sound.mid(at, 7)), qint64(sound.mid(at, 7).size()));
            QCOMPARE(updates.count(), 2); // of 50 ms each
            QVERIFY(std::abs(meter.peak(0) - 0.5) <= step);
            QVERIFY(std::abs(meter.rms(0) - 0.5 / std::sqrt(2.0)) < std::max(step, 1e-6));
            QCOMPARE(meter.peak(1) + meter.rms(1), 0.0);
            QCOMPARE(meter.peak(2), 1.0);
            QCOMPARE(meter.rms(2), 1.0);
            QCOMPARE(meter.peak(3) + meter.peak(-1), 0.0);
        }
    }

    void loudOrBrokenFloatsStayWithinTheScale()
    {
        const QAudioFormat format = formatOf(32, QAudioFormat::Float, true);
        AudioInfo meter;
        meter.setWindowMs(4);
        QVERIFY(meter.setFormat(format));
        const double nan = std::numeric_limits<double>::quiet_NaN();
        meter.write(sampleOf(nan, format) + sampleOf(nan, format) + sampleOf(5, format)
            + sampleOf(std::numeric_limits<double>::infinity(), format));
        QCOMPARE(meter.peak(0), 1.0);
        QCOMPARE(meter.rms(0), std::sqrt(0.5));
        QCOMPARE(AudioInfo::toDecibels(0.1), -20.0);
        QCOMPARE(AudioInfo::toDecibels(0), AudioInfo::silenceDb);
    }

    void otherFormatsAreRefused()
    {
        AudioInfo meter;
        QVERIFY(!meter.setFormat(QAudioFormat()));
        QVERIFY(!meter.setFormat(formatOf(12, QAudioFormat::SignedInt, true)));
        QVERIFY(!meter.setFormat(formatOf(64, QAudioFormat::Float, true)));
        QVERIFY(!meter.setFormat(formatOf(16, QAudioFormat::SignedInt, true, 0)));
        QCOMPARE(meter.channelCount(), 0);
        QVERIFY(meter.setFormat(formatOf(16, QAudioFormat::SignedInt, true)));
        QVERIFY(!meter.setFormat(formatOf(12, QAudioFormat::SignedInt, true)));
        QCOMPARE(meter.write("12345678"), qint64(8)); // swallowed
        AudioLevelBar bar(&meter);
        QVERIFY(!meter.listen(QStringLiteral("no such microphone")) && !meter.isListening());
        QVERIFY(!meter.lastError().isEmpty());
        QCOMPARE(bar.toolTip(), meter.lastError());
        QCOMPARE(bar.accessibleDescription(), meter.lastError());
    }

    void barShowsTheLoudestAndLetsItFall()
    {
        const QAudioFormat format = formatOf(16, QAudioFormat::SignedInt, true, 2);
        AudioInfo meter;
        QVERIFY(meter.setFormat(format));
        AudioLevelBar bar(&meter);
        bar.resize(200, 20);
        bar.show();
        const auto write = [&](double one, double two) {
            for (int i = 0; i < 50; ++i)
                meter.write(sampleOf(one, format) + sampleOf(two, format));
        };
        write(0.1, 0.01);
        QCOMPARE(bar.value(), -20);
        QVERIFY(std::abs(bar.peakDb(1) + 40) < 0.1);
        QVERIFY(!bar.isClipped());
        QAccessibleInterface *const spoken = QAccessible::queryAccessibleInterface(&bar);
        QVERIFY(spoken && spoken->valueInterface());
        QCOMPARE(spoken->valueInterface()->currentValue().toInt(), -20);
        QVERIFY(bar.toolTip().contains(QStringLiteral("-20 dB")));

        // The filled part ends at -20 dB, two thirds of the way; a mark and the peak line lie over it.
        const QImage loud = bar.grab().toImage();
        int filled = 0;
        for (int x = 0; x < loud.width(); ++x)
            filled += loud.pixel(x, loud.height() / 4) == loud.pixel(6, loud.height() / 4);
        QVERIFY2(std::abs(filled - 123) <= 6, qPrintable(QString::number(filled)));

        write(1.0, 0);
        QVERIFY(bar.isClipped());
        QCOMPARE(bar.value(), 0);
        write(0, 0);
        QTRY_VERIFY(bar.value() < -3 && bar.value() > -60);
        QTRY_VERIFY_WITH_TIMEOUT(!bar.isClipped() && bar.value() == -60, 15'000);
        QVERIFY(bar.grab().toImage() != loud);

        // The source may go before the bar, and the bar before the source.
        {
            AudioInfo other;
            bar.setSource(&other);
        }
        QVERIFY(!bar.source());
        QCOMPARE(bar.peakDb(0), AudioInfo::silenceDb);
    }
};

QTEST_MAIN(AudioInfoTest)
#include "tst_audioinfo.moc"
