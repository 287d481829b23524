#pragma once

#include "pipeline/imageproviderbase.h"
#include "support/frames.h"

#include <QPair>
#include <QVector>

#include <memory>

/** Takes over what a provider delivers, and notes for each frame its index and the number in its pixels. */
class ReceivedFrames
{
public:
    using Entry = QPair<int, int>;

    explicit ReceivedFrames(ImageProviderBase &provider)
    {
        QObject::connect(
            &provider, &ImageProviderBase::nextFrameReady, &context, [this](cv::Mat *frame, int index) {
                last.reset(frame);
                entries.append({index, frames::numberOf(*frame)});
            });
    }

    QVector<Entry> take() { return std::exchange(entries, {}); }

    QVector<Entry> entries;
    std::unique_ptr<cv::Mat> last;

private:
    QObject context;
};
