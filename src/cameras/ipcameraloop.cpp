#include "cameras/ipcameraloop_p.h"

#include "cameras/capturethread_p.h"
#include "cameras/ipcamera.h"
#include "cameras/rtspknock_p.h"
#include "image/capturesource_p.h"

#include <QDebug>
#include <QRegularExpression>
#include <QThreadPool>

#include <algorithm>
#include <climits>
#include <cmath>
#include <condition_variable>
#include <mutex>

namespace {

constexpr int retryMs = 1000;
// Address, login, password and start() come one after the other, each with a restart. A network source is
// opened when they have come to rest: not in vain, and never with a new login and the password of the old
// one.
constexpr int settlingMs = 100;
constexpr int shortestFilePauseMs = 10;
constexpr int unknownRatePauseMs = 100;
// What a bound of 0 leaves to FFmpeg holds for the knock as well.
constexpr int unboundedKnockMs = 30000;

using IsWanted = std::function<bool()>;

/**
 * Lets the loops of the process open their network sources one after the other.
 *
 * OpenCV does so in any case, but who waits for its lock can neither leave nor be told to: after a quick row
 * of restarts all the abandoned openings would run, a second each, and whoever opens a file would have to
 * stand in one line with them.
 */
class OpeningQueue
{
public:
    static OpeningQueue &instance()
    {
        // Never destroyed: a capture thread may outlive the program's static objects.
        static auto *queue = new OpeningQueue;
        return *queue;
    }

    /** Runs \a open when it is its turn; false if it is not wanted any more before. */
    template <typename Function> bool run(const IsWanted &isWanted, Function open)
    {
        std::unique_lock lock(mutex);
        while (isTaken) {
            if (!isWanted())
                return false;
            changed.wait_for(lock, std::chrono::milliseconds(20));
        }
        isTaken = true;
        lock.unlock();
        const Leave leave{*this};
        return isWanted() && open();
    }

private:
    struct Leave
    {
        OpeningQueue &queue;

        ~Leave()
        {
            {
                const std::lock_guard lock(queue.mutex);
                queue.isTaken = false;
            }
            queue.changed.notify_one();
        }
    };

    std::mutex mutex; // guards isTaken
    std::condition_variable changed;
    bool isTaken = false;
};

// Runs on the capture's thread. A host that answers the knock and falls silent in the midst of the opening
// still keeps OpenCV's lock, and so everybody else's opening, for openTimeoutMs.
bool openUrl(cv::VideoCapture &capture, const QString &url, const IsWanted &isWanted)
{
    // The former connection goes first: there are cameras that serve one client only.
    capture.release();
    if (!CaptureSource::isNetworkAddress(url))
        return CaptureSource::open(capture, url);
    const CaptureSource::Bounds bounds{
        std::max(0, IPCamera::openTimeoutMs.load()), std::max(0, IPCamera::readTimeoutMs.load())};
    if (!RtspKnock::isAnswered(url, bounds.openMs > 0 ? bounds.openMs : unboundedKnockMs, isWanted))
        return false;
    return OpeningQueue::instance().run(isWanted, [&] { return CaptureSource::open(capture, url, bounds); });
}

// How long a frame of a file is shown at the least.
int filePauseMs(double frameRate)
{
    if (!(frameRate > 0.0))
        return unknownRatePauseMs;
    const double pauseMs = std::ceil(1000.0 / frameRate) + 1.0;
    return static_cast<int>(std::clamp<double>(pauseMs, shortestFilePauseMs, INT_MAX));
}

bool hasEnding(const QString &text, QLatin1String ending)
{
    return text.endsWith(ending, Qt::CaseInsensitive);
}

} // namespace

IPCameraSource IPCameraSource::fromSettings(const QString &ip, const QString &login, const QString &password)
{
    if (hasEnding(ip, QLatin1String(".avi")) || hasEnding(ip, QLatin1String(".mp4")))
        return {ip, true};
    if (ip.startsWith(QLatin1String("rtsp://")) || ip.size() <= 2)
        return {ip, false};

    QString url = QStringLiteral("rtsp://");
    if (!login.isEmpty()) {
        url += login;
        if (!password.isEmpty())
            url += QLatin1Char(':') + password;
        url += QLatin1Char('@');
    }
    return {url + ip, false};
}

QString IPCameraSource::urlWithoutPassword() const
{
    if (!url.contains(QLatin1String("://")))
        return url;
    // Up to the last '@' of all, as a password may hold anything. That may hide a bit of an odd path as well,
    // but never shows a bit of the password.
    static const QRegularExpression login(QStringLiteral("^([^:/]+://[^:/?#@]+:).*(?=@)"));
    static const QRegularExpression parameter(QStringLiteral("\\b((?:password|passwd|pass|pwd)=)[^&/#]*"),
        QRegularExpression::CaseInsensitiveOption);
    QString masked = url;
    masked.replace(login, QStringLiteral("\\1***"));
    masked.replace(parameter, QStringLiteral("\\1***"));
    return masked;
}

void IPCameraLoop::run(const std::shared_ptr<LoopControl> &control, LoopControl::Generation generation,
    const IPCameraSource &source, const Hooks &hooks)
{
    // The loop occupies its thread for as long as the camera runs, but hardly its processor. Without giving
    // its place back, as many cameras as there are processors would leave nothing for all other users of the
    // pool.
    QThreadPool *pool = QThreadPool::globalInstance();
    pool->releaseThread();
    const bool hasEntered = control->enter(generation);
    if (hasEntered)
        IPCameraLoop(control, generation, source, hooks).work();
    pool->reserveThread();
    if (hasEntered)
        control->leave(generation);
}

IPCameraLoop::IPCameraLoop(const std::shared_ptr<LoopControl> &control, LoopControl::Generation generation,
    const IPCameraSource &source, const Hooks &hooks)
    : control(control), generation(generation), source(source), hooks(hooks)
{
}

IPCameraLoop::~IPCameraLoop() = default;

void IPCameraLoop::work()
{
    if (CaptureSource::isNetworkAddress(source.url) && !control->pause(generation, settlingMs))
        return;
    qDebug() << "CAMERA URL" << (IPCamera::hidePasswordInLog ? source.urlWithoutPassword() : source.url);
    bool isLost = true;
    while (isWanted()) {
        // Whatever OpenCV or a receiver of the frame throws is a lost source, not the end of the camera.
        try {
            if (isLost)
                open();
            isLost = !turn();
        } catch (...) {
            isLost = true;
        }
        if (isLost)
            control->pause(generation, retryMs);
    }
}

void IPCameraLoop::open()
{
    hasGivenFrames = false;
    const bool isFirstTime = !capture;
    if (isFirstTime)
        capture = std::make_unique<CaptureThread>(control, generation);
    if (source.hasUrl()) {
        capture->ask(
            [url = source.url, control = control, generation = generation](cv::VideoCapture &opened) {
                return openUrl(opened, url, [&] { return control->isWanted(generation); });
            });
        return;
    }
    bool isNumber = false;
    const int device = QVariant(source.url).toInt(&isNumber);
    if (!isFirstTime || !isNumber || device < -1)
        return;
    qDebug() << "Trying camera index" << device;
    capture->ask([device](cv::VideoCapture &opened) { return CaptureSource::open(opened, device); });
}

// One frame that is dropped and one that is handed on; false if the source is lost.
bool IPCameraLoop::turn()
{
    if (!grab() || (source.isFile && !passTime()) || !isWanted())
        return false;

    cv::Mat frame = read();
    if (frame.empty() && source.isFile && isWanted()) {
        // The end of a file that does not know its length, or that is too short to be rewound.
        open();
        frame = read();
    }
    if (frame.empty())
        return false;
    hasGivenFrames = true;

    const cv::Mat picture = oriented(frame);
    frame.release();
    if (isWanted())
        hooks.handOn(picture);
    return true;
}

bool IPCameraLoop::grab()
{
    const auto grabNext = [](cv::VideoCapture &opened) { return opened.grab(); };
    if (capture->ask(grabNext).value_or(false))
        return true;
    if (!source.isFile || !hasGivenFrames)
        return false;
    // Files of killed writers do not know their length. They cannot be rewound in time, and at their end no
    // more at all, so they start over by being opened again.
    const auto isEndless = [](cv::VideoCapture &opened) { return CaptureSource::frameCount(opened) < 1; };
    if (!capture->ask(isEndless).value_or(false))
        return false;
    open();
    return capture->ask(grabNext).value_or(false);
}

// Keeps a file at its own rate, and rewinds it at its end.
bool IPCameraLoop::passTime()
{
    const auto pauseMs = capture->ask([](cv::VideoCapture &opened) {
        const int frameCount = CaptureSource::frameCount(opened);
        if (frameCount >= 1 && opened.get(cv::CAP_PROP_POS_FRAMES) + 1.0 >= frameCount)
            opened.set(cv::CAP_PROP_POS_FRAMES, 0.0);
        return filePauseMs(opened.get(cv::CAP_PROP_FPS));
    });
    return pauseMs && control->pause(generation, *pauseMs);
}

cv::Mat IPCameraLoop::read()
{
    const auto frame =
        capture->ask([target = pool.take(frameSize, frameType)](cv::VideoCapture &opened) mutable {
            return opened.read(target) ? target : cv::Mat();
        });
    if (!frame || frame->empty())
        return {};
    frameSize = frame->size();
    frameType = frame->type();
    return *frame;
}

cv::Mat IPCameraLoop::oriented(const cv::Mat &frame)
{
    const IPCameraOrientation orientation = hooks.orientation();
    cv::Mat picture = frame;
    switch (orientation.rotation) {
    case CameraSettings::Rotate0:
        break;
    case CameraSettings::Rotate90:
    case CameraSettings::Rotate270:
        picture = pool.take({frame.rows, frame.cols}, frame.type());
        cv::rotate(frame, picture,
            orientation.rotation == CameraSettings::Rotate90 ? cv::ROTATE_90_CLOCKWISE
                                                             : cv::ROTATE_90_COUNTERCLOCKWISE);
        break;
    case CameraSettings::Rotate180:
        cv::flip(picture, picture, 0);
        break;
    }
    switch (orientation.flip) {
    case CameraSettings::FlipNone:
        break;
    case CameraSettings::FlipX:
        cv::flip(picture, picture, 0);
        break;
    case CameraSettings::FlipY:
        cv::flip(picture, picture, 1);
        break;
    case CameraSettings::FlipXY:
        cv::flip(picture, picture, -1);
        break;
    }
    return picture;
}

bool IPCameraLoop::isWanted() const
{
    return control->isWanted(generation);
}
