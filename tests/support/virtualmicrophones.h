#pragma once

#include <QList>
#include <QString>
#include <QVector>

/** Names of microphones without hardware: a list of devices for QAudioDeviceInfo that give no sound. */
namespace virtualmicrophones {

struct Device
{
    QString name; // may come twice
    QList<int> rates{44100};
    QStringList codecs{QStringLiteral("audio/pcm")};
};

/** Makes \a devices the only ones. Call it first before any use of Qt Multimedia, with an application there.
 */
void setDevices(const QVector<Device> &devices);

} // namespace virtualmicrophones
