#include "image/imagebridge.h"

#include <QDebug>
#include <QFile>
#include <QFileInfo>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <climits>
#include <vector>

namespace {

// A header on the image's pixels. The const accessor keeps a shared image from detaching.
cv::Mat wrapImage(const QImage &image, int type)
{
    return cv::Mat(image.height(), image.width(), type, const_cast<uchar *>(image.constBits()),
        static_cast<size_t>(image.bytesPerLine()));
}

QImage wrapMat(const cv::Mat &mat, QImage::Format format)
{
    return QImage(mat.data, mat.cols, mat.rows, static_cast<int>(mat.step[0]), format);
}

cv::Mat wrapOrCopy(const QImage &image, int type, bool clone)
{
    const cv::Mat wrapped = wrapImage(image, type);
    return clone ? wrapped.clone() : wrapped;
}

// One pass straight into the result: OpenCV swaps with vector instructions on all cores, and a swapped
// temporary image would cost a second pass and a second buffer.
cv::Mat swappedCopy(const QImage &image, int type, int conversion, bool clone)
{
    if (!clone) {
        qWarning() << "CNV::QImageToCvMat() - Conversion requires cloning since we use a temporary QImage";
    }
    cv::Mat swapped;
    cv::cvtColor(wrapImage(image, type), swapped, conversion);
    return swapped;
}

QImage swappedCopy(const cv::Mat &mat, QImage::Format format, int conversion)
{
    QImage swapped(mat.cols, mat.rows, format);
    if (!swapped.isNull()) {
        // Of the right size and type already, so cvtColor writes into the image.
        cv::Mat pixels(
            mat.rows, mat.cols, mat.type(), swapped.bits(), static_cast<size_t>(swapped.bytesPerLine()));
        cv::cvtColor(mat, pixels, conversion);
    }
    return swapped;
}

} // namespace

cv::Mat QImageToCvMat(const QImage &image, bool clone)
{
    switch (image.format()) {
    case QImage::Format_Indexed8:
    case QImage::Format_Grayscale8:
        return wrapOrCopy(image, CV_8UC1, clone);
    case QImage::Format_RGB32:
        return wrapOrCopy(image, CV_8UC4, clone);
    case QImage::Format_RGB888:
        return swappedCopy(image, CV_8UC3, cv::COLOR_RGB2BGR, clone);
    case QImage::Format_RGBA8888:
        return swappedCopy(image, CV_8UC4, cv::COLOR_RGBA2BGRA, clone);
    default:
        qWarning() << "CNV::QImageToCvMat() - QImage format not handled in switch:" << image.format();
        return {};
    }
}

cv::Mat QPixmapToCvMat(const QPixmap &pixmap, bool clone)
{
    const QImage image = pixmap.toImage();
    // Usually the pixmap shares the image and keeps its pixels alive. A detached image is a copy that Qt made
    // for us alone, and its pixels end with this function.
    return QImageToCvMat(image, clone || image.isDetached());
}

QImage cvMatToQImage(const cv::Mat &mat, bool swapChannels)
{
    if (mat.data == nullptr || mat.total() == 0 || mat.dims == 0)
        return {};

    switch (mat.type()) {
    case CV_8UC1:
        return wrapMat(mat, QImage::Format_Grayscale8);
    case CV_8UC3:
        return swappedCopy(mat, QImage::Format_RGB888, cv::COLOR_BGR2RGB);
    case CV_8UC4:
        if (swapChannels)
            return swappedCopy(mat, QImage::Format_RGBA8888, cv::COLOR_BGRA2RGBA);
        return wrapMat(mat, QImage::Format_RGB32);
    default:
        qWarning() << "CNV::cvMatToQImage() - cv::Mat image type not handled in switch:" << mat.type();
        return {};
    }
}

QPixmap cvMatToQPixmap(const cv::Mat &mat)
{
    QImage image = cvMatToQImage(mat, false);
    // QPixmap takes the moved image's buffer over. It must not be the frame's, which the next frame frees.
    if (image.constBits() == mat.data)
        image = image.copy();
    return QPixmap::fromImage(std::move(image), Qt::NoFormatConversion);
}

cv::Scalar QColorToCVScalar(QColor color)
{
    return {double(color.blue()), double(color.green()), double(color.red()), 0.0};
}

cv::Scalar cvScalarFromHex(QString hex) // NOLINT(performance-unnecessary-value-param)
{
    QColor color;
    color.setNamedColor(hex);
    return QColorToCVScalar(color);
}

cv::Mat imgread(QString path) // NOLINT(performance-unnecessary-value-param)
{
    QFile file(path);
    const qint64 size = file.size();
    // An empty buffer makes imdecode throw, and it counts bytes as int. Pipes and devices have size 0 as
    // well; opening those could block.
    if (size <= 0 || size > INT_MAX || !file.open(QIODevice::ReadOnly))
        return {};
    std::vector<uchar> bytes(static_cast<size_t>(size));
    file.read(reinterpret_cast<char *>(bytes.data()), size);
    file.close();
    return cv::imdecode(bytes, cv::IMREAD_COLOR);
}

void rot90(cv::Mat &mat, int rotation)
{
    switch (rotation) {
    case 1:
        cv::transpose(mat, mat);
        cv::flip(mat, mat, 1);
        break;
    case 2:
        cv::flip(mat, mat, -1);
        break;
    case 3:
        cv::transpose(mat, mat);
        cv::flip(mat, mat, 0);
        break;
    default:
        break;
    }
}

std::string toOpenCvString(QString text) // NOLINT(performance-unnecessary-value-param)
{
    return text.toStdString();
}

void printTypes()
{
    static constexpr const char *depths[] = {"8U", "8S", "16U", "16S", "32S", "32F", "64F"};
    int depth = 0;
    for (const char *name : depths) {
        for (int channels = 4; channels >= 1; --channels)
            qDebug() << qPrintable(QStringLiteral("CV_%1C%2 ").arg(QLatin1String(name)).arg(channels))
                     << CV_MAKETYPE(depth, channels);
        ++depth;
    }
}

bool CheckLoadCascade(const QString &path)
{
    qDebug() << "Asking for cascade" << path;
    if (QFileInfo::exists(path)) {
        qDebug() << "Cascade already exists" << path;
        return true;
    }

    const QString resourcePath = QStringLiteral(":/resources/") + QFileInfo(path).fileName();
    qDebug() << "Looking for '" << path << "' in resources " << resourcePath;
    QFile resource(resourcePath);
    if (resource.open(QIODevice::ReadOnly)) {
        qDebug() << "Found '" << path << "' in resources!";
        resource.copy(path);
    }
    qDebug() << "Cascade exists?" << QFile::exists(path);
    return QFile::exists(path);
}
