#include "cameras/cameragrabber_p.h"

#include "baselib/globalconsole.h"
#include "cameras/frameorientation_p.h"
#include "image/racecheck_p.h"

#include <QVideoFrame>
#include <QVideoSurfaceFormat>

namespace {

// Two seconds at 60 Hz, and 0.7 GiB at 1920x1080. A host that blocks its event loop for longer loses frames
// and not the process.
constexpr int maxFramesWaiting = 120;

} // namespace

/** A delivered frame that stays mapped as long as it lives. */
class MappedFrame
{
public:
    explicit MappedFrame(const QVideoFrame &delivered)
        : frame(delivered), mapped(frame.map(QAbstractVideoBuffer::ReadOnly))
    {
    }

    ~MappedFrame()
    {
        if (mapped)
            frame.unmap();
    }

    MappedFrame(const MappedFrame &) = delete;
    MappedFrame &operator=(const MappedFrame &) = delete;

    bool isMapped() const { return mapped; }

    /** A picture that wraps the pixels; null for a layout that QImage does not know or that is cut short. */
    QImage image() const
    {
        const int bytesPerLine = frame.bytesPerLine();
        const QImage::Format format = QVideoFrame::imageFormatFromPixelFormat(frame.pixelFormat());
        const uchar *bits = frame.bits();
        if (format == QImage::Format_Invalid || bits == nullptr
            || qint64(bytesPerLine) * frame.height() > frame.mappedBytes())
            return {};
        return QImage(bits, frame.width(), frame.height(), bytesPerLine, format);
    }

private:
    QVideoFrame frame;
    bool mapped;
};

namespace {

/** Keeps a delivered frame mapped for the matrices that refer to it. */
class MappedFrameAllocator : public cv::MatAllocator
{
public:
    using Owner = std::shared_ptr<MappedFrame>;

    static cv::Mat wrap(const QImage &image, const Owner &owner)
    {
        // Never destroyed: a frame may outlive every static object.
        static const auto *const allocator = new MappedFrameAllocator;
        auto *pixels = const_cast<uchar *>(image.constBits());
        cv::Mat frame(image.height(), image.width(), CV_8UC4, pixels, size_t(image.bytesPerLine()));
        frame.u = new cv::UMatData(allocator);
        frame.u->data = frame.u->origdata = pixels;
        frame.u->size = frame.step[0] * size_t(frame.rows);
        frame.u->refcount = 1;
        frame.u->userdata = new Owner(owner);
        RaceCheck::release(frame.u);
        return frame;
    }

    // New pixels for a matrix that held a delivered frame are ordinary ones.
    cv::UMatData *allocate(int dims, const int *sizes, int type, void *data, size_t *step,
        cv::AccessFlag flags, cv::UMatUsageFlags usage) const override
    {
        return cv::Mat::getStdAllocator()->allocate(dims, sizes, type, data, step, flags, usage);
    }

    bool allocate(cv::UMatData *data, cv::AccessFlag flags, cv::UMatUsageFlags usage) const override
    {
        return cv::Mat::getStdAllocator()->allocate(data, flags, usage);
    }

    void deallocate(cv::UMatData *data) const override
    {
        RaceCheck::acquire(data);
        delete static_cast<Owner *>(data->userdata);
        delete data;
    }
};

bool hasBlueGreenRedBytes(QImage::Format format)
{
    return format == QImage::Format_RGB32 || format == QImage::Format_ARGB32
        || format == QImage::Format_ARGB32_Premultiplied;
}

} // namespace

CameraGrabber::CameraGrabber(QObject *parent) : QAbstractVideoSurface(parent)
{
    qRegisterMetaType<cv::Mat>("cv::Mat");
}

CameraGrabber::~CameraGrabber() = default;

QList<QVideoFrame::PixelFormat> CameraGrabber::supportedPixelFormats(
    QAbstractVideoBuffer::HandleType handleType) const
{
    if (handleType != QAbstractVideoBuffer::NoHandle)
        return {};
    return {QVideoFrame::Format_RGB32, QVideoFrame::Format_ARGB32, QVideoFrame::Format_ARGB32_Premultiplied,
        QVideoFrame::Format_RGB565, QVideoFrame::Format_RGB555};
}

bool CameraGrabber::isFormatSupported(const QVideoSurfaceFormat &format) const
{
    return QVideoFrame::imageFormatFromPixelFormat(format.pixelFormat()) != QImage::Format_Invalid
        && !format.frameSize().isEmpty() && format.handleType() == QAbstractVideoBuffer::NoHandle;
}

bool CameraGrabber::start(const QVideoSurfaceFormat &format)
{
    const QImage::Format asImage = QVideoFrame::imageFormatFromPixelFormat(format.pixelFormat());
    if (asImage == QImage::Format_Invalid || format.frameSize().isEmpty())
        return false;
    imageFormat = asImage;
    QAbstractVideoSurface::start(format);
    return true;
}

bool CameraGrabber::present(const QVideoFrame &frame)
{
    this->frame.reset();
    if (!frame.isValid()) {
        pool = FramePool(); // the end of a stream, for some devices
        setError(IncorrectFormatError);
        stop();
        return false;
    }
    this->frame = std::make_shared<MappedFrame>(frame);
    if (!this->frame->isMapped())
        return false;
    const QImage delivered = this->frame->image();
    if (delivered.isNull()) {
        setError(IncorrectFormatError);
        return false;
    }
    if (isTooFarAhead())
        return true;
    image = convert(delivered, this->frame);
    // The receiver may delete this object, so nothing of it is touched any more.
    Q_EMIT imageReady(std::move(image));
    return true;
}

cv::Mat CameraGrabber::convert(const QImage &delivered, const std::shared_ptr<MappedFrame> &owner)
{
    const FrameOrientation orientation = frameOrientation(rotation, flip);
    const bool asItIs = hasBlueGreenRedBytes(delivered.format());
    // Two bytes a pixel, which Qt widens to the full range of each channel.
    const QImage widened = asItIs ? QImage() : delivered.convertToFormat(QImage::Format_RGB32);
    const QImage &source = asItIs ? delivered : widened;
    const cv::Mat pixels(source.height(), source.width(), CV_8UC4, const_cast<uchar *>(source.constBits()),
        size_t(source.bytesPerLine()));
    if (useCVTColor) {
        cv::Mat converted = pool.take(orientation.of(pixels.size()), CV_8UC3);
        takeColours(pixels, orientation, converted);
        return converted;
    }
    if (!orientation.isIdentity())
        return reoriented(pixels, orientation);
    return asItIs ? MappedFrameAllocator::wrap(source, owner) : pixels.clone();
}

bool CameraGrabber::isTooFarAhead()
{
    if (framesWaiting < maxFramesWaiting) {
        losesFrames = false;
        return false;
    }
    if (!losesFrames) {
        GlobalConsole::writeLine(
            tr("Frames of the camera \"%1\" are lost, since the application does not take them")
                .arg(objectName()),
            QDateTime::currentDateTime());
    }
    losesFrames = true;
    return true;
}
