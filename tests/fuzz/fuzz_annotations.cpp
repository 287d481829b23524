// What a file of annotations holds is read without harm, and neither a save nor the quick way of reading
// lines loses or changes anything.

#include "fuzz.h"
#include "playback/annotationline_p.h"
#include "playback/framedannotation_p.h"

#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QTemporaryDir>

namespace {

void checkLine(const QByteArray &line)
{
    const QJsonObject json = QJsonDocument::fromJson(line).object();
    FrameInfo record(json);
    const QByteArray text = record.toJsonString().toUtf8();
    FUZZ_CHECK(!text.contains('\n'));
    if (const auto plain = AnnotationLine::readPlain(line)) {
        FUZZ_CHECK(plain->equals(record));
        FUZZ_CHECK(text == line);
        FUZZ_CHECK(AnnotationLine::holdsAll(json) && AnnotationLine::hasNumber(json));
    }
    const QJsonObject again = QJsonDocument::fromJson(text).object();
    FUZZ_CHECK(FrameInfo(again).toJsonString().toUtf8() == text);
    FUZZ_CHECK(AnnotationLine::holdsAll(again));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static const QTemporaryDir dir(QDir(QStringLiteral("/dev/shm")).exists()
            ? QStringLiteral("/dev/shm/fuzz-annotations-XXXXXX")
            : QString());
    static const QString path = dir.filePath(QStringLiteral("file"));
    QByteArray bytes(reinterpret_cast<const char *>(data), int(size));
    const QList<QByteArray> inputLines = bytes.split('\n');
    for (const QByteArray &line : inputLines)
        checkLine(line);

    QBuffer device(&bytes);
    FUZZ_CHECK(device.open(QIODevice::ReadOnly));
    FramedAnnotation first(path);
    FUZZ_CHECK(first.read(&device));
    FUZZ_CHECK(first.saveInPlace());
    QFile file(path);
    FUZZ_CHECK(file.open(QFile::ReadOnly));
    const QByteArray saved = file.readAll();
    file.close();

    // Reading what was saved gives the same records, and the same number of other lines.
    FramedAnnotation second(path);
    FUZZ_CHECK(second.load());
    FUZZ_CHECK(second.getFrames() == first.getFrames());
    const QList<int> numbers = first.getFrames();
    for (const int number : numbers)
        FUZZ_CHECK(second.find(number)->toJsonString() == first.find(number)->toJsonString());
    FUZZ_CHECK(second.getSkippedLines() == first.getSkippedLines());
    FUZZ_CHECK(second.saveInPlace());
    return 0;
}
