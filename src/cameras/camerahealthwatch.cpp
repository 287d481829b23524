#include "cameras/camerahealthwatch.h"

#include "baselib/globalconsole.h"
#include "cameras/camera.h"

#include <QCamera>

#include <algorithm>
#include <mutex>
#include <utility>

using std::chrono::milliseconds;
using std::chrono::nanoseconds;

namespace {

constexpr int keptOutages = 1000;

qint64 inMs(nanoseconds span)
{
    return std::chrono::duration_cast<milliseconds>(span).count();
}

// A closure, since a function's type would be exported along with std::function.
const auto steadyTime = [] { return nanoseconds(std::chrono::steady_clock::now().time_since_epoch()); };

} // namespace

// What the frames leave behind, on whatever thread they come. Connections hold it by a shared pointer,
// because a call on another thread may still be under way when the watch is gone.
class CameraHealthWatch::FrameLog
{
public:
    struct Silence
    {
        nanoseconds begin;
        nanoseconds end;
    };

    struct Report
    {
        QVector<Silence> silences; // that are over and in no earlier report
        nanoseconds now{0};
        nanoseconds silentSince{0}; // the last frame, or the start where none has come since
        qint64 count = 0; // all frames
        bool isFresh = false; // no frame since the start
    };

    FrameLog(Clock clock, int stalledMs, int offlineMs)
        : clock(clock ? std::move(clock) : Clock(steadyTime)), stalledAfter(stalledMs),
          offlineAfter(offlineMs)
    {
    }

    void setBounds(int stalledMs, int offlineMs)
    {
        const std::lock_guard lock(mutex);
        stalledAfter = milliseconds(stalledMs);
        offlineAfter = milliseconds(offlineMs);
    }

    void start()
    {
        const std::lock_guard lock(mutex);
        report.silences.clear();
        report.silentSince = clock();
        report.isFresh = true;
        isMarked = false;
    }

    void frame()
    {
        const std::lock_guard lock(mutex);
        const nanoseconds now = clock();
        // A start may take longer than a frame.
        const bool isLong = now - report.silentSince >= (report.isFresh ? offlineAfter : stalledAfter);
        if ((isMarked || isLong) && report.silences.size() < keptOutages)
            report.silences.append({report.silentSince, now});
        report.silentSince = lastFrame = now;
        report.isFresh = false;
        ++report.count;
        isMarked = false;
    }

    Report take()
    {
        const std::lock_guard lock(mutex);
        report.now = clock();
        Report taken = report;
        report.silences.clear();
        return taken;
    }

    // Makes the next frame report the silence before it, however short. False if it has come already.
    bool mark(qint64 count)
    {
        const std::lock_guard lock(mutex);
        isMarked = count == report.count;
        return isMarked;
    }

    qint64 count() const
    {
        const std::lock_guard lock(mutex);
        return report.count;
    }

    nanoseconds now() const
    {
        const std::lock_guard lock(mutex);
        return clock();
    }

    qint64 ageMs() const
    {
        const std::lock_guard lock(mutex);
        return report.count > 0 ? inMs(clock() - lastFrame) : -1;
    }

private:
    mutable std::mutex mutex; // guards all of these
    const Clock clock; // called with the lock held, one call at a time
    milliseconds stalledAfter;
    milliseconds offlineAfter;
    Report report;
    nanoseconds lastFrame{0};
    bool isMarked = false;
};

CameraHealthWatch::CameraHealthWatch(Camera *camera, QObject *parent) : QObject(parent)
{
    qRegisterMetaType<Camera *>();
    qRegisterMetaType<CameraHealthWatch::Outage>();
    qRegisterMetaType<CameraHealthWatch::State>();
    connect(&timer, &QTimer::timeout, this, &CameraHealthWatch::check);
    setCamera(camera);
}

CameraHealthWatch::~CameraHealthWatch() = default;

Camera *CameraHealthWatch::camera() const
{
    return watched;
}

void CameraHealthWatch::setCamera(Camera *camera)
{
    connections.clear();
    followRunning(false);
    // A frame of the former camera may still be on its way, into the former log.
    frames = std::make_shared<FrameLog>(clock, stalledMs, offlineMs);
    past.clear();
    pastCount = 0;
    pastMs = 0;
    error.clear();
    device.clear();
    watched = camera;
    if (camera) {
        connections << connect(
            camera, &ImageCvMatHolder::frameChanged, this, [log = frames] { log->frame(); },
            Qt::DirectConnection);
        connections << connect(camera, &Camera::isRunningChanged, this, &CameraHealthWatch::followRunning);
        connections << connect(camera, &QObject::destroyed, this, [this] { setCamera(nullptr); });
        followDevice();
        followRunning(camera->getIsRunning());
    }
    Q_EMIT cameraChanged(watched);
}

qint64 CameraHealthWatch::frameAgeMs() const
{
    return frames->ageMs();
}

qint64 CameraHealthWatch::outageMs() const
{
    return isOut ? inMs(frames->now() - outageStart) : 0;
}

QVector<CameraHealthWatch::Outage> CameraHealthWatch::outages() const
{
    QVector<Outage> all = past;
    if (isOut) {
        all.append(current);
        all.last().lengthMs = outageMs();
    }
    return all;
}

int CameraHealthWatch::outageCount() const
{
    return pastCount + (isOut ? 1 : 0);
}

qint64 CameraHealthWatch::totalOutageMs() const
{
    return pastMs + outageMs();
}

void CameraHealthWatch::setStalledAfterMs(int ms)
{
    stalledMs = std::max(1, ms);
    frames->setBounds(stalledMs, offlineMs);
}

void CameraHealthWatch::setOfflineAfterMs(int ms)
{
    offlineMs = std::max(1, ms);
    frames->setBounds(stalledMs, offlineMs);
}

void CameraHealthWatch::setCheckIntervalMs(int ms)
{
    intervalMs = std::max(0, ms);
    if (intervalMs == 0)
        timer.stop();
    else if (currentState != Off)
        timer.start(intervalMs);
}

void CameraHealthWatch::setClock(Clock newClock)
{
    if (watched)
        return;
    clock = std::move(newClock);
    frames = std::make_shared<FrameLog>(clock, stalledMs, offlineMs);
}

void CameraHealthWatch::check()
{
    if (currentState == Off)
        return;
    const std::shared_ptr<FrameLog> log = frames;
    const FrameLog::Report report = log->take();
    for (const FrameLog::Silence &silence : report.silences) {
        if (!isOut)
            beginOutage(silence.begin);
        endOutage(silence.end);
        if (currentState == Off || log != frames) // a receiver has stopped the camera, or taken another
            return;
    }

    isError = isError && report.count == framesAtError;
    const nanoseconds silence = report.now - report.silentSince;
    State next = Live;
    if (isError || silence >= milliseconds(offlineMs))
        next = Offline;
    else if (report.isFresh)
        next = Starting;
    else if (silence >= milliseconds(stalledMs))
        next = Stalled;

    if (!isOut && (next == Stalled || next == Offline)) {
        if (!log->mark(report.count))
            return; // a frame at the last moment; the next check sees it
        beginOutage(report.silentSince);
        if (currentState == Off || log != frames)
            return;
    }
    if (next == Offline && !std::exchange(isTold, true))
        tell(current.error.isEmpty() ? tr("gives no frames") : current.error);
    setState(next);
}

void CameraHealthWatch::reportError(const QString &text)
{
    error = text;
    if (currentState != Off) {
        isError = true;
        framesAtError = frames->count();
        if (isOut)
            current.error = text;
    }
    Q_EMIT errorOccurred(text);
}

// A host's own camera may make its device as late as it is started.
void CameraHealthWatch::followDevice()
{
    auto *const found = watched->findChild<QCamera *>(QString(), Qt::FindDirectChildrenOnly);
    if (!found || found == device)
        return;
    device = found;
#if QT_VERSION >= QT_VERSION_CHECK(5, 15, 0)
    const auto signal = &QCamera::errorOccurred;
#else
    const auto signal = qOverload<QCamera::Error>(&QCamera::error);
#endif
    // The device starts on a thread of its own, so the error may be queued and outlive it.
    connections << connect(found, signal, this, [this, failed = device](QCamera::Error code) {
        const QString text = failed ? failed->errorString() : QString();
        reportError(text.isEmpty() ? tr("The device reports error %1").arg(int(code)) : text);
    });
}

// start() on a camera that is running already is no new beginning: what is amiss goes on until a frame comes.
void CameraHealthWatch::followRunning(bool running)
{
    if (running) {
        followDevice();
        if (currentState != Off)
            return;
        frames->start();
        isError = false;
        if (intervalMs > 0)
            timer.start(intervalMs);
        setState(Starting);
    } else if (currentState != Off) {
        const std::shared_ptr<FrameLog> log = frames;
        check(); // for what has come since the last one
        if (log != frames)
            return;
        timer.stop();
        isTold = false; // this is no recovery
        currentState = Off; // before a receiver of the next signal can stop the camera once more
        if (isOut)
            endOutage(frames->now());
        if (currentState == Off)
            Q_EMIT stateChanged(Off);
    }
}

void CameraHealthWatch::beginOutage(nanoseconds since)
{
    isOut = true;
    outageStart = since;
    current = {};
    current.began = QDateTime::currentDateTime().addMSecs(inMs(since - frames->now()));
    current.lengthMs = outageMs();
    if (isError)
        current.error = error;
    Q_EMIT outageBegan(Outage(current)); // a copy: what a receiver does may end it
}

void CameraHealthWatch::endOutage(nanoseconds at)
{
    isOut = false;
    current.isOver = true;
    current.lengthMs = inMs(at - outageStart);
    ++pastCount;
    pastMs += current.lengthMs;
    if (past.size() == keptOutages)
        past.removeFirst();
    past.append(current);
    if (std::exchange(isTold, false))
        tell(tr("gives frames again, after %1 s").arg(double(current.lengthMs) / 1000, 0, 'f', 1));
    Q_EMIT outageEnded(Outage(current));
}

void CameraHealthWatch::setState(State state)
{
    if (std::exchange(currentState, state) != state)
        Q_EMIT stateChanged(state);
}

void CameraHealthWatch::tell(const QString &text) const
{
    const QString name = watched ? watched->getMoniker() : QString();
    GlobalConsole::writeLine(tr("Camera %1: %2").arg(name, text), QDateTime::currentDateTime());
}
