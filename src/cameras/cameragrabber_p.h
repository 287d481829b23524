#pragma once

#include "cameras/framepool_p.h"
#include "image/imagebridge.h"
#include "vtcv_export.h"

#include <QAbstractVideoSurface>

#include <atomic>
#include <memory>

class MappedFrame;

/**
 * Takes the frames that the multimedia layer delivers, and hands each on as a `cv::Mat` of blue, green, red,
 * turned and mirrored as asked.
 *
 * A frame that leaves owns its pixels, or keeps the delivered frame mapped as long as anybody holds it; the
 * delivered pixels are never written to.
 *
 * \thread present() and start(): the multimedia layer's delivery thread, which emits imageReady(). The atomic
 *         members: any.
 */
class VTCV_TEST_EXPORT CameraGrabber : public QAbstractVideoSurface
{
    Q_OBJECT

public:
    explicit CameraGrabber(QObject *parent = nullptr);
    ~CameraGrabber() override;

    /** Formats of four and two bytes a pixel in main memory; nothing for other handle types. */
    QList<QVideoFrame::PixelFormat> supportedPixelFormats(
        QAbstractVideoBuffer::HandleType handleType = QAbstractVideoBuffer::NoHandle) const override;
    bool isFormatSupported(const QVideoSurfaceFormat &format) const override;
    bool start(const QVideoSurfaceFormat &format) override;

    /**
     * Converts \a frame and emits imageReady(), or returns false.
     *
     * An invalid frame stops the surface and leaves IncorrectFormatError, as does a layout that cannot be
     * read without the stop. A frame that cannot be mapped is dropped.
     */
    bool present(const QVideoFrame &frame) override;

    // Copied from the settings: values of CameraRotation and CameraFlip. They count from the next frame on.
    std::atomic<int> rotation{0};
    std::atomic<int> flip{0};

    /** False: frames stay CV_8UC4 and refer to the delivered frame where its orientation allows it. */
    std::atomic<bool> useCVTColor{true};

    /** Frames that are queued to their receiver; kept by the receiver. New frames are lost above a limit. */
    std::atomic<int> framesWaiting{0};

Q_SIGNALS:
    void imageReady(cv::Mat image);

private:
    cv::Mat convert(const QImage &delivered, const std::shared_ptr<MappedFrame> &owner);
    bool isTooFarAhead();

    cv::Mat image; // what present() works on; empty outside of it
    FramePool pool; // new pixels cost more than the conversion into them
    std::shared_ptr<MappedFrame> frame; // the last one, mapped until the next one comes
    QImage::Format imageFormat = QImage::Format_Invalid; // given to start()
    bool losesFrames = false; // the receiver is behind, and this has been said
};
