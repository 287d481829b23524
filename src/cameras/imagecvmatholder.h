#pragma once

#include "baselib/imageholder.h"
#include "image/imagebridge.h"
#include "vtcv_export.h"

#include <QMutex>

#include <opencv2/core.hpp>

/**
 * Holds one frame as a `cv::Mat` and hands it on to consumers and viewers.
 *
 *     ImageCvMatHolder holder;
 *     connect(&holder, &ImageCvMatHolder::frameChanged, recorder, takeFrame);
 *     viewer->setImageHolder(&holder);
 *     holder.setFrame(frame);
 *
 * Only headers and reference counts move: the caller of setFrame(), the holder and everybody behind
 * frameChanged() share one pixel buffer. Whoever wants to change a frame, or refills its buffer, clones it
 * first.
 *
 * setImage() is that of ImageHolder: a picture given that way does not become the frame, and getImage() does
 * not return it.
 *
 * \thread setFrame(), getFrame() and getImage(): any, also at once. The signals come on the thread that sets
 *         the frame; connect widgets queued.
 */
class VTCV_EXPORT ImageCvMatHolder : public ImageHolder
{
    Q_OBJECT
    Q_PROPERTY(cv::Mat frame READ getFrame WRITE setFrame NOTIFY frameChanged)

public:
    explicit ImageCvMatHolder(QObject *parent = nullptr);

    /** Makes a frame of one colour, as large as ImageHolder's picture, and sets it with setFrame(). */
    void setEmptyImage(QColor color) override;

    /**
     * Converts the frame by cvMatToQImage(), as does each call anew; null for what that refuses.
     *
     * \ownership An image that wraps the frame (CV_8UC1 and CV_8UC4) keeps its pixels alive, so it may
     * outlast both the frame's turn and the holder. What is written to these pixels shows in it all the same.
     */
    QImage getImage() override;

    /**
     * Holds \a frame and emits frameChanged() and imageChanged(), also where it is the held frame itself.
     *
     * \param frame any size and type; an empty one leaves viewers with a null image.
     * \ownership Takes a reference on the pixels; copies none.
     */
    Q_INVOKABLE void setFrame(const cv::Mat &frame);

    /** A header on the held pixels; empty before the first frame. */
    Q_INVOKABLE cv::Mat getFrame();

Q_SIGNALS:
    /** Carries a header on the held pixels. */
    void frameChanged(cv::Mat value);

protected:
    /** Holds \a frame without a signal, for a subclass that has signals of its own way. */
    void holdFrame(const cv::Mat &frame);

    cv::Mat frame; // the current one; a subclass that touches it takes turns with setFrame() itself

private:
    QMutex frameMutex; // guards the header `frame`, not the pixels; never held while a signal is emitted
};
