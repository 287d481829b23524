#pragma once

#include "vtcv_export.h"

#include <QObject>

#include <opencv2/core.hpp>

#include <memory>

/**
 * Is a source of frames that are asked for by their number.
 *
 *     connect(provider, &ImageProviderBase::nextFrameReady, this, [](cv::Mat *frame, int index) {
 *         const std::unique_ptr<cv::Mat> owned(frame);
 *         show(*owned, index);
 *     });
 *     provider->prepareFrame(3);
 *
 * A subclass makes the frame in prepareFrame() and sends it with callNextFrame() or deliverFrame().
 *
 * \thread One at a time for an object; the signals come on the thread that calls. `cv::Mat *` is no
 * registered meta type: a queued connection to nextFrameReady() needs the host to register it.
 */
class VTCV_EXPORT ImageProviderBase : public QObject
{
    Q_OBJECT
    Q_PROPERTY(int frameAmount READ getFrameAmount WRITE setFrameAmount NOTIFY frameAmountChanged)
    Q_PROPERTY(int currentFrameIndex READ getCurrentFrameIndex WRITE setCurrentFrameIndex NOTIFY
            currentFrameIndexChanged)

public:
    explicit ImageProviderBase(QObject *parent = nullptr);
    ~ImageProviderBase() override;

    /** True for a source without random access: its frames do not move the current index. */
    virtual bool isSourceStreaming() = 0;

Q_SIGNALS:
    void frameAmountChanged(int value);
    void currentFrameIndexChanged(int value);

    /**
     * Hands over the frame of number \a index.
     *
     * \ownership The receiver's, on the heap. So there should be one receiver; others may only look at it
     * before that one has it.
     */
    void nextFrameReady(cv::Mat *frame, int index);

public Q_SLOTS:
    /**
     * Makes the frame of number \a index and delivers it through nextFrameReady(). currentFrameIndexChanged()
     * comes before, if the index was another one.
     */
    virtual void prepareFrame(int index = 0) = 0;

public:
    Q_INVOKABLE int getFrameAmount();

protected:
    /**
     * Sets the number of frames, negative ones as 0. Each change takes the current index back to 0, and
     * prepares that frame if the index was another one.
     */
    Q_INVOKABLE void setFrameAmount(int value);

public:
    /**
     * Makes \a value the current index, negative ones as 0, and prepares the frame of that index. Does
     * nothing if it is the current one already. There is no test against the number of frames.
     */
    Q_INVOKABLE void setCurrentFrameIndex(int value);
    Q_INVOKABLE int getCurrentFrameIndex();

protected:
    /**
     * Sends a frame. \a index becomes the current one, unless it is negative or the source is streaming.
     *
     * \ownership The receiver's. A frame that is sent while nobody is connected is lost: see deliverFrame().
     */
    void callNextFrame(int index, cv::Mat *frame);

    /** Sends a frame like callNextFrame(), and frees it where nobody is connected to nextFrameReady(). */
    void deliverFrame(int index, std::unique_ptr<cv::Mat> frame);

    cv::Mat *m_frame = nullptr; // a note of the frame that was sent last; it belongs to its receiver
    qint32 m_frameAmount = 0;
    qint32 m_currentFrameIndex = 0;

private:
    void moveIndex(int index);
};
