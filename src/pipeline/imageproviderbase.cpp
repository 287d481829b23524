#include "pipeline/imageproviderbase.h"

#include <QMetaMethod>

#include <utility>

ImageProviderBase::ImageProviderBase(QObject *parent) : QObject(parent) { }

ImageProviderBase::~ImageProviderBase() = default;

int ImageProviderBase::getFrameAmount()
{
    return m_frameAmount;
}

void ImageProviderBase::setFrameAmount(int value)
{
    const int amount = qMax(0, value);
    if (amount == m_frameAmount)
        return;
    m_frameAmount = amount;
    Q_EMIT frameAmountChanged(amount);
    if (m_currentFrameIndex != 0) {
        m_currentFrameIndex = 0;
        Q_EMIT currentFrameIndexChanged(0);
        prepareFrame(0);
    }
}

void ImageProviderBase::setCurrentFrameIndex(int value)
{
    const int index = qMax(0, value);
    if (index == m_currentFrameIndex)
        return;
    m_currentFrameIndex = index;
    Q_EMIT currentFrameIndexChanged(index);
    // A receiver that has gone on to another index has got that one's frame; ours would move it back.
    if (m_currentFrameIndex == index)
        prepareFrame(index);
}

int ImageProviderBase::getCurrentFrameIndex()
{
    return m_currentFrameIndex;
}

void ImageProviderBase::callNextFrame(int index, cv::Mat *frame)
{
    moveIndex(index);
    m_frame = frame;
    Q_EMIT nextFrameReady(frame, index);
}

void ImageProviderBase::deliverFrame(int index, std::unique_ptr<cv::Mat> frame)
{
    // First, since a receiver of this signal may be the one that connects to the frames.
    moveIndex(index);
    static const QMetaMethod ready = QMetaMethod::fromSignal(&ImageProviderBase::nextFrameReady);
    callNextFrame(index, isSignalConnected(ready) ? frame.release() : nullptr);
}

void ImageProviderBase::moveIndex(int index)
{
    if (index == m_currentFrameIndex || index < 0 || isSourceStreaming())
        return;
    m_currentFrameIndex = index;
    Q_EMIT currentFrameIndexChanged(index);
}
