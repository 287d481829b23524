#include "cameras/cameracalibration_p.h"

#include <QFile>
#include <QFileInfo>
#include <QXmlStreamReader>

#include <functional>

namespace {

// Some fifty times what a calibration needs. A parser's time grows with the square of a tag's attributes, so
// this bounds the time as well as the memory.
constexpr qint64 maxBytes = 65536;

struct Texts
{
    QString distortion;
    QString matrix;
};

Texts textsOf(const QByteArray &bytes)
{
    Texts texts;
    QXmlStreamReader xml(bytes);
    // Entities multiply the size of a file, and no calibration declares any.
    while (!xml.atEnd() && xml.readNext() != QXmlStreamReader::StartElement) {
        if (!xml.entityDeclarations().isEmpty())
            return texts;
    }
    for (bool found = xml.isStartElement(); found; found = xml.readNextStartElement()) {
        if (xml.name() != QLatin1String("IntrinsicCameraParameters")) {
            xml.skipCurrentElement();
        } else if (xml.readNextStartElement() && xml.name() == QLatin1String("DistortionCoeffs")) {
            texts.distortion = xml.readElementText();
            xml.readNextStartElement();
            texts.matrix = xml.readElementText();
        }
    }
    return texts;
}

// Calls \a take with each number in turn, at most \a count times.
void readNumbers(const QString &text, int count, const std::function<void(int, float)> &take)
{
    int taken = 0;
    for (const QString &part : text.split(QLatin1Char(';'), Qt::SkipEmptyParts)) {
        if (taken == count)
            return;
        bool ok = false;
        const float value = part.trimmed().replace(QLatin1Char(','), QLatin1Char('.')).toFloat(&ok);
        if (ok)
            take(taken++, value);
    }
}

} // namespace

bool CameraCalibration::read(const QString &path, cv::Mat *distortion, cv::Mat *matrix)
{
    Texts texts;
    if (QFile::exists(path)) {
        // Opening a pipe waits for somebody to write to it.
        QFile file(path);
        if (!QFileInfo(path).isFile() || !file.open(QIODevice::ReadOnly))
            return false;
        texts = textsOf(file.read(maxBytes));
    }
    readNumbers(texts.distortion, 4, [&](int i, float value) { distortion->at<float>(i) = value; });
    readNumbers(texts.matrix, 9, [&](int i, float value) { matrix->at<float>(i % 3, i / 3) = value; });
    return true;
}
