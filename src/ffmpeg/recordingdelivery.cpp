#include "ffmpeg/recordingdelivery.h"

RecordingDelivery RecordingDelivery::copy()
{
    RecordingDelivery delivery;
    delivery.kind = Copy;
    return delivery;
}

RecordingDelivery RecordingDelivery::quality(int crf, const QString &preset)
{
    RecordingDelivery delivery;
    delivery.kind = Quality;
    delivery.crf = crf;
    delivery.preset = preset;
    return delivery;
}

RecordingDelivery RecordingDelivery::custom(const QStringList &arguments)
{
    RecordingDelivery delivery;
    delivery.kind = Custom;
    delivery.arguments = arguments;
    return delivery;
}
