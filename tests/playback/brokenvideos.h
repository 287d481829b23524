#pragma once

#include "support/frames.h"

#include <QFile>
#include <QtEndian>

/** Motion-JPEG files as crashes, full disks and liars leave them, made from a whole one. */
namespace brokenvideos {

inline QByteArray bytesOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

inline QString write(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() ? path : QString();
}

/** What the headers of an AVI file tell: the number of frames, and the rate as a fraction. */
inline QByteArray forged(QByteArray avi, quint32 count, quint32 rate = 25, quint32 scale = 1)
{
    const int main = avi.indexOf("avih") + 8;
    const int stream = avi.indexOf("strh") + 8;
    const std::pair<int, quint32> fields[] = {
        {main + 16, count}, {stream + 32, count}, {stream + 24, rate}, {stream + 20, scale}};
    for (const auto &field : fields)
        qToLittleEndian(field.second, avi.data() + field.first);
    return avi;
}

/** As a killed writer leaves it: without an index, and the length is not known. */
inline QByteArray killed(const QByteArray &avi)
{
    return forged(avi.left(avi.indexOf("idx1")), 0);
}

} // namespace brokenvideos
