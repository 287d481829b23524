#pragma once

#include "cameras/camerasettings.h"
#include "cameras/framepool_p.h"
#include "cameras/loopcontrol_p.h"

#include <opencv2/core.hpp>
#include <QString>

#include <functional>
#include <memory>

class CaptureThread;

/** What the settings of a network camera name: an address, a video file or the number of a device. */
struct VTCV_TEST_EXPORT IPCameraSource
{
    QString url;
    bool isFile = false; // played in a loop, at its own rate at the most

    static IPCameraSource fromSettings(const QString &ip, const QString &login, const QString &password);

    /** False for what is opened by its number, or not at all. */
    bool hasUrl() const { return url.size() >= 2; }

    /** \a url with "***" in place of each password that can be told: "login:password@", "password=...". */
    QString urlWithoutPassword() const;
};

/** How a picture is turned and mirrored. */
struct IPCameraOrientation
{
    CameraSettings::CameraRotation rotation = CameraSettings::Rotate0;
    CameraSettings::CameraFlip flip = CameraSettings::FlipNone;
};

/**
 * One grab loop of a network camera: it opens the source and hands on frames until it is told to end.
 *
 * The loop's thread makes no call that may hang: those of the source run on a CaptureThread.
 */
class VTCV_TEST_EXPORT IPCameraLoop
{
public:
    /** What the loop asks of the camera, on the loop's thread and between enter() and leave() only. */
    struct Hooks
    {
        std::function<IPCameraOrientation()> orientation;
        std::function<void(const cv::Mat &)> handOn;
    };

    /** Runs the loop \a generation of \a control, on a thread of QThreadPool::globalInstance(), to its end.
     */
    static void run(const std::shared_ptr<LoopControl> &control, LoopControl::Generation generation,
        const IPCameraSource &source, const Hooks &hooks);

private:
    IPCameraLoop(const std::shared_ptr<LoopControl> &control, LoopControl::Generation generation,
        const IPCameraSource &source, const Hooks &hooks);
    ~IPCameraLoop();

    void work();
    void open();
    bool turn();
    bool grab();
    bool passTime();
    cv::Mat read();
    cv::Mat oriented(const cv::Mat &frame);
    bool isWanted() const;

    std::shared_ptr<LoopControl> control;
    LoopControl::Generation generation;
    IPCameraSource source;
    Hooks hooks;
    std::unique_ptr<CaptureThread> capture;
    FramePool pool;
    cv::Size frameSize; // of the source's last frame
    int frameType = CV_8UC3;
    bool hasGivenFrames = false; // since the source was opened
};
