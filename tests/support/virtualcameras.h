#pragma once

#include <opencv2/core.hpp>
#include <QByteArray>
#include <QList>
#include <QSize>
#include <QString>
#include <QVector>
#include <QVideoFrame>

/**
 * Cameras without hardware: a back end of Qt Multimedia that is part of the test program. QCameraInfo,
 * QCamera and the video surface are Qt's own.
 *
 *     virtualcameras::setDevices({{"Front"}, {"Back", {{320, 240}}}});
 *     WebCamera camera(QCameraInfo::availableCameras().first());
 *
 * The pixel at x, y of frame n is blue = x, green = y, red = n, each modulo 256, which tells the frame, the
 * orientation and the order of the channels. A frame's memory is good only while it is mapped.
 */
namespace virtualcameras {

struct Device
{
    QString description;
    QList<QSize> resolutions{{64, 48}};
    QVideoFrame::PixelFormat format = QVideoFrame::Format_RGB32;
    double frameRate = 60.0;
    bool onGuiThread = false; // frames come on the camera's thread instead of one of the device's own

    // Faults. Frames count from 0 with each start; 0 stands for never.
    bool available = true;
    int startBlocksMs = 0;
    int invalidEvery = 0;
    int unmappableEvery = 0;
    int diesAfter = 0; // frames; the device reports an error and delivers no more until it is started anew

    QByteArray name = {}; // unique; made from the place in the list if empty
};

/**
 * Plugs in \a devices and unplugs all others; those that run and are gone report an error. Call it first
 * before any use of Qt Multimedia, with an application object there: no other back end is loaded then.
 */
void setDevices(QVector<Device> devices);

/** Frames that the surface of the device \a name (all devices by default) has taken since setDevices(). */
int framesTaken(const QByteArray &name = {});

/** Devices that deliver now. */
int streaming();

/** Frames that were changed while they were mapped for reading, since the process began. */
int framesWrittenTo();

/** What a device delivers, as CV_8UC4. */
cv::Mat picture(QSize size, int number);

/** A frame of \a bgra (CV_8UC4), which it copies, in \a format. \param mappable false: mapping it fails. */
QVideoFrame videoFrame(
    const cv::Mat &bgra, QVideoFrame::PixelFormat format = QVideoFrame::Format_RGB32, bool mappable = true);

} // namespace virtualcameras
