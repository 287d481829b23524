#include "fuzz.h"
#include "playback/frameinfo.h"

#include <QJsonDocument>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray bytes = QByteArray::fromRawData(reinterpret_cast<const char *>(data), int(size));
    FrameInfo record(QJsonDocument::fromJson(bytes).object());
    const QString text = record.toJsonString();
    FUZZ_CHECK(!text.contains(QLatin1Char('\n')));
    FrameInfo again(QJsonDocument::fromJson(text.toUtf8()).object());
    FUZZ_CHECK(again.toJsonString() == text);
    return 0;
}
