#include "recording/recordingmeter_p.h"

#include <QCoreApplication>
#include <QLocale>

#include <algorithm>

namespace {

constexpr qint64 rateWindowMs = 2'000; // an encoder is behind if it was so for this time
constexpr double leastRate = 0.9; // of the nominal one
constexpr qint64 growthWindowMs = 10'000;
constexpr qint64 longestWindowMs = 60'000;
constexpr qint64 writerBufferBytes = 256 << 10; // files grow by this much at once
constexpr qint64 lostBytes = 4 * writerBufferBytes; // frames that should have made the file grow
constexpr qint64 leastFrameBytes = 600; // the tables of a JPEG picture alone
constexpr qint64 fullDiskBytes = 64 << 10;
constexpr qint64 indexBytesPerFrame = 64;
constexpr double stopSeconds = 1.0; // between the look that ends a recording and its end
constexpr qint64 restMs = 3'000; // a warning that was not true for this time is over

constexpr std::array<const char *, RecordingWatch::EndedAtLimit + 1> texts{
    QT_TRANSLATE_NOOP("RecordingWatch", "Video not written, frames are lost"),
    QT_TRANSLATE_NOOP("RecordingWatch", "Disk nearly full: %1 left"),
    QT_TRANSLATE_NOOP("RecordingWatch", "Disk of the destination nearly full: %1 left"),
    QT_TRANSLATE_NOOP("RecordingWatch", "Encoder too slow: %1 of %2 frames a second"),
    QT_TRANSLATE_NOOP("RecordingWatch", "Recording ended, disk nearly full: %1 left"),
};

} // namespace

void RecordingMeter::begin(double newRateHz)
{
    state = RecordingHealth();
    state.isRecording = true;
    newWarnings.clear();
    rateHz = newRateHz;
    window.clear();
    written = 0;
    largestFile = 0;
    framesAtGrowth = 0;
    emptySinceMs = -1;
    active.fill(false);
}

const RecordingHealth &RecordingMeter::add(const Sample &sample)
{
    if (sample.written < written)
        begin(rateHz); // the counts have started anew
    newWarnings.clear();
    written = sample.written;
    state.fileBytes = sample.fileBytes;
    state.freeTempBytes = sample.freeTempBytes;
    state.freeDestinationBytes = sample.freeDestinationBytes;
    if (sample.fileBytes > largestFile) {
        largestFile = sample.fileBytes;
        framesAtGrowth = sample.written;
    }
    if (sample.isPaused) {
        window.clear();
        emptySinceMs = -1;
    } else {
        window.push_back(sample);
        measureGrowth(sample);
        measureRate(sample);
    }
    const qint64 usable = qMax<qint64>(0, sample.freeTempBytes - reserve());
    state.secondsLeft = sample.freeTempBytes < 0 || state.bytesPerSecond <= 0.0
        ? -1.0
        : double(usable) / state.bytesPerSecond;

    const bool isNearlyFull = sample.freeTempBytes >= 0
        && (sample.freeTempBytes < warningLimit.freeBytes
            || (state.secondsLeft >= 0.0 && state.secondsLeft < warningLimit.secondsLeft));
    const qint64 needed = qMax(sample.neededAtDestination, warningLimit.freeBytes);
    judge(RecordingWatch::WriterFails, isWriterFailing(sample), sample.nowMs);
    judge(RecordingWatch::TempDiskNearlyFull, isNearlyFull, sample.nowMs);
    judge(RecordingWatch::DestinationNearlyFull,
        sample.freeDestinationBytes >= 0 && sample.freeDestinationBytes < needed, sample.nowMs);
    judge(RecordingWatch::EncoderIsBehind, state.isBehind, sample.nowMs);
    listWarnings();
    return state;
}

const RecordingHealth &RecordingMeter::end(bool atLimit)
{
    newWarnings.clear();
    const bool wasAtLimit = active[RecordingWatch::EndedAtLimit];
    active.fill(false);
    active[RecordingWatch::EndedAtLimit] = atLimit || wasAtLimit;
    if (atLimit && !wasAtLimit)
        newWarnings << RecordingWatch::EndedAtLimit;
    state.isRecording = false;
    listWarnings();
    return state;
}

// What the writer still has to put on the disk when the recording ends: its buffer and the index.
qint64 RecordingMeter::reserve() const
{
    return 2 * writerBufferBytes + qint64(written) * indexBytesPerFrame;
}

bool RecordingMeter::isAtStopLimit() const
{
    if (!state.isRecording || state.freeTempBytes < 0
        || (stopLimit.freeBytes <= 0 && stopLimit.secondsLeft <= 0.0))
        return false;
    // A look may come late, and stopping takes a moment.
    const qint64 least = reserve() + qint64(state.bytesPerSecond * stopSeconds);
    return state.freeTempBytes < qMax(stopLimit.freeBytes, least)
        || (state.secondsLeft >= 0.0 && state.secondsLeft < stopLimit.secondsLeft);
}

// Over some steps of the file, so that the prediction is steady; over all there is where they are few.
void RecordingMeter::measureGrowth(const Sample &sample)
{
    const auto mayGo = [&](const Sample &next) {
        const qint64 ageMs = sample.nowMs - next.nowMs;
        return ageMs >= longestWindowMs
            || (ageMs >= growthWindowMs && sample.fileBytes - next.fileBytes >= lostBytes);
    };
    while (window.size() > 2 && mayGo(window[1]))
        window.pop_front();
    const Sample &oldest = window.front();
    const qint64 grown = sample.fileBytes - qMax<qint64>(0, oldest.fileBytes);
    if (grown > 0)
        state.bytesPerSecond = double(grown) * 1000.0 / double(qMax<qint64>(1, sample.nowMs - oldest.nowMs));
}

void RecordingMeter::measureRate(const Sample &sample)
{
    state.isBehind = false;
    state.measuredRateHz = -1.0;
    const auto newest = std::find_if(window.rbegin(), window.rend(),
        [&](const Sample &former) { return sample.nowMs - former.nowMs >= rateWindowMs; });
    if (newest == window.rend())
        return;
    const double seconds = double(sample.nowMs - newest->nowMs) / 1000.0;
    const double passes = double(sample.passes) - double(newest->passes);
    state.measuredRateHz = passes / seconds;
    // One frame more or less is a matter of when we look. Where nothing is written at all, the writer fails.
    state.isBehind = sample.written > 0 && passes + 1.0 < leastRate * rateHz * seconds;
}

bool RecordingMeter::isWriterFailing(const Sample &sample)
{
    if (sample.isPaused)
        return active[RecordingWatch::WriterFails];
    if (sample.written == 0) {
        if (emptySinceMs < 0)
            emptySinceMs = sample.nowMs;
        return sample.nowMs - emptySinceMs >= rateWindowMs;
    }
    if (sample.fileBytes < 0 || (sample.freeTempBytes >= 0 && sample.freeTempBytes < fullDiskBytes))
        return true;
    const double frameBytes = framesAtGrowth > 0
        ? qMax(double(leastFrameBytes), double(largestFile) / double(framesAtGrowth))
        : double(leastFrameBytes);
    return double(sample.written - framesAtGrowth) * frameBytes > double(lostBytes);
}

void RecordingMeter::judge(RecordingWatch::Warning warning, bool isTrue, qint64 nowMs)
{
    if (isTrue) {
        seenMs[warning] = nowMs;
        if (!active[warning])
            newWarnings << warning;
        active[warning] = true;
    } else if (active[warning] && nowMs - seenMs[warning] >= restMs) {
        active[warning] = false;
    }
}

void RecordingMeter::listWarnings()
{
    state.isWriterFailing = active[RecordingWatch::WriterFails];
    state.isTempDiskNearlyFull = active[RecordingWatch::TempDiskNearlyFull];
    state.isDestinationNearlyFull = active[RecordingWatch::DestinationNearlyFull];
    state.isBehind = active[RecordingWatch::EncoderIsBehind];
    state.isEndedAtLimit = active[RecordingWatch::EndedAtLimit];
    state.warnings.clear();
    for (int warning = 0; warning < warningCount; ++warning) {
        if (active[size_t(warning)])
            state.warnings << text(RecordingWatch::Warning(warning), true);
    }
}

QString RecordingMeter::text(RecordingWatch::Warning warning, bool isTranslated) const
{
    const char *const source = texts[warning];
    const QString pattern =
        isTranslated ? QCoreApplication::translate("RecordingWatch", source) : QString::fromUtf8(source);
    const QLocale locale = isTranslated ? QLocale() : QLocale::c();
    const auto size = [&locale](qint64 bytes) { return locale.formattedDataSize(qMax<qint64>(0, bytes), 0); };
    switch (warning) {
    case RecordingWatch::WriterFails:
        return pattern;
    case RecordingWatch::DestinationNearlyFull:
        return pattern.arg(size(state.freeDestinationBytes));
    case RecordingWatch::EncoderIsBehind:
        return pattern.arg(
            locale.toString(qMax(0.0, state.measuredRateHz), 'f', 1), locale.toString(rateHz, 'g', 4));
    default:
        break;
    }
    QString left = size(state.freeTempBytes);
    if (warning == RecordingWatch::TempDiskNearlyFull && state.secondsLeft >= 0.0) {
        const QString seconds =
            isTranslated ? QCoreApplication::translate("RecordingWatch", "%1 s") : QStringLiteral("%1 s");
        left = seconds.arg(locale.toString(state.secondsLeft, 'f', 0)) + QLatin1String(", ") + left;
    }
    return pattern.arg(left);
}
