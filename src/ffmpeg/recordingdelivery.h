#pragma once

#include "vtcv_export.h"

#include <QMetaType>
#include <QString>
#include <QStringList>

/**
 * Says how `ffmpeg` makes a delivered video from a recording.
 *
 *     recorder.setDelivery(RecordingDelivery::quality()); // good to look at, plays everywhere
 *     recorder.setDelivery(RecordingDelivery::copy()); // every pixel as recorded, large
 *
 * A value: copy it as you like.
 */
struct VTCV_EXPORT RecordingDelivery
{
    enum Kind
    {
        AsFFMpegChooses, // names of files only: codecs and quality follow from the suffix
        Copy, // the recorded pictures as they are, without encoding them again
        Quality, // H.264 of a constant quality
        Custom // the arguments below; a failure falls back to Quality, with a console line
    };

    Kind kind = AsFFMpegChooses;
    int crf = 18; // quality of Quality, 0 (lossless) to 51 (worst); 18 is hard to tell from the recording
    QString preset = QStringLiteral("veryfast"); // of Quality: speed against size, as x264 names them
    QStringList arguments; // of Custom: what stands between the inputs and the output

    /** Keeps the recorded Motion-JPEG, and PCM sound except in .mp4. The suffix of the destination has to
     * take it: .avi, .mkv, .mov, .mp4. With another one (.webm) the job fails, and the recording is kept. */
    static RecordingDelivery copy();

    /**
     * Encodes H.264 (`libx264`, yuv420p) by constant rate factor, with AAC sound (PCM in .avi).
     *
     * For .mkv, .mp4 and .mov; players are less sure of H.264 in .avi, and .webm fails. A frame whose width
     * or height is odd gets a black line at its right or lower edge.
     */
    static RecordingDelivery quality(int crf = 18, const QString &preset = QStringLiteral("veryfast"));

    /** Passes \a arguments to `ffmpeg`: a hardware encoder, for one. */
    static RecordingDelivery custom(const QStringList &arguments);
};
Q_DECLARE_METATYPE(RecordingDelivery)
