#include "image/capturesource_p.h"
#include "playback/annotationexchange_p.h"
#include "playback/videoannotations.h"

#include <QUndoStack>

#include <cmath>

using namespace AnnotationExchange;

namespace {

template <typename Visit> void eachEntry(FrameInfo &record, Visit visit)
{
    for (FrameInfo::InfoDataType kind : {FrameInfo::Percent, FrameInfo::Value, FrameInfo::Rect,
             FrameInfo::Comment, FrameInfo::Bool, FrameInfo::Points}) {
        const QStringList names = record.getNames(kind);
        for (const QString &name : names)
            visit(kind, name, record.get(kind, name));
    }
}

} // namespace

bool AnnotationSet::readVideo(const QString &path)
{
    cv::VideoCapture capture;
    if (!CaptureSource::open(capture, path))
        return false;
    fileName = path;
    width = CaptureSource::toCount(capture.get(cv::CAP_PROP_FRAME_WIDTH));
    height = CaptureSource::toCount(capture.get(cv::CAP_PROP_FRAME_HEIGHT));
    frameCount = CaptureSource::frameCount(capture);
    const double rate = capture.get(cv::CAP_PROP_FPS);
    frameRate = std::isfinite(rate) && rate > 0 ? rate : 0;
    return true;
}

AnnotationSet annotationSetOf(const VideoAnnotations &annotations)
{
    AnnotationSet set;
    const QList<int> frames = annotations.getFrames();
    for (int frame : frames) {
        if (FrameInfo *record = annotations.getFrame(frame)) {
            eachEntry(*record, [&](FrameInfo::InfoDataType kind, const QString &name, const QVariant &value) {
                set.frame(frame).set(kind, name, value);
            });
        }
    }
    return set;
}

int addAnnotations(VideoAnnotations &annotations, const AnnotationSet &set)
{
    const int count = set.entryCount();
    if (!annotations.isOpen() || count == 0)
        return 0;
    annotations.getUndoStack()->beginMacro(Text::tr("Import annotations"));
    for (auto it = set.frames.cbegin(); it != set.frames.cend(); ++it) {
        if (*it) {
            eachEntry(**it, [&](FrameInfo::InfoDataType kind, const QString &name, const QVariant &value) {
                annotations.setValue(it.key(), kind, name, value);
            });
        }
    }
    annotations.getUndoStack()->endMacro();
    return count;
}
