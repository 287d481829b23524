#pragma once

#include "cameras/ipcamera.h"
#include "cameras/ipcamerasettings_p.h"
#include "support/frames.h"

#include <QCoreApplication>
#include <QTest>
#include <QVector>

#include <atomic>
#include <memory>
#include <mutex>
#include <set>
#include <vector>

// A loop ends within 1.5 s. The rest is slack for a loaded machine; the bounds of the source are far above it
// where it matters, so a loop that waits for the source is caught all the same.
inline constexpr int stopBoundMs = 1500 + 2000;
inline constexpr int longBoundMs = 30000;

/** Takes the frames of a camera on the camera's own loop, and keeps what is asked for. */
class Receiver
{
public:
    explicit Receiver(IPCamera &camera) : camera(camera)
    {
        QObject::connect(
            &camera, &Camera::frameChanged, &context,
            [this](const cv::Mat &frame) {
                const std::lock_guard lock(mutex);
                numberList << frames::numberOf(frame);
                buffers.insert(frame.data);
                lastFrame = frame;
                if (keepsFrames)
                    keptFrames.push_back(frame);
                ++count;
            },
            Qt::DirectConnection);
    }

    // The loop must not be inside the receiver when that goes.
    ~Receiver()
    {
        camera.stop();
        camera.waitForLoop(-1);
    }

    QVector<int> numbers() const
    {
        const std::lock_guard lock(mutex);
        return numberList;
    }

    cv::Mat last() const
    {
        const std::lock_guard lock(mutex);
        return lastFrame;
    }

    bool hasNewFrames(int wanted = 2)
    {
        const int before = count;
        return QTest::qWaitFor([&] { return count >= before + wanted; }, 20000);
    }

    std::atomic<int> count{0};
    std::atomic<bool> keepsFrames{false};
    std::set<uchar *> buffers; // look at these two when the loop has ended
    std::vector<cv::Mat> keptFrames;

private:
    IPCamera &camera;
    mutable std::mutex mutex;
    QVector<int> numberList;
    cv::Mat lastFrame;
    QObject context;
};

inline IPCameraSettings &settingsOf(IPCamera &camera)
{
    return *static_cast<IPCameraSettings *>(camera.getSettings());
}

// A change of the address starts the camera; start() behind it would start it anew, perhaps after a first
// frame.
inline void start(IPCamera &camera, const QString &ip)
{
    settingsOf(camera).setIp(ip);
}

/** A name of its own for each camera, so that none finds another one's settings. */
inline QString nextName()
{
    static int number = 0;
    return QStringLiteral("ip test %1 %2").arg(QCoreApplication::applicationPid()).arg(++number);
}
