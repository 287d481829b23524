#pragma once

#include "baselib/connectionhelper.h"
#include "vtcv_export.h"

#include <QDateTime>
#include <QMetaType>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QTimer>
#include <QVector>

#include <chrono>
#include <functional>
#include <memory>

class Camera;
class QCamera;

/**
 * Tells whether a camera that was started really gives frames, and keeps account of the times when it did
 * not.
 *
 *     auto *health = new CameraHealthWatch(camera, this);
 *     connect(health, &CameraHealthWatch::stateChanged, this, &Panel::showState);
 *     connect(health, &CameraHealthWatch::outageEnded, this, &Journal::noteOutage);
 *
 * It looks at the frames alone, so it works for each Camera: a local one, one in the network, a host's own.
 * One that is not started with start() or setIsRunning() counts as Off, whatever frames it gives. Errors of a
 * device are seen where the camera has a QCamera as a child, as WebCamera has; a host hands errors of other
 * sources to reportError().
 *
 * An outage begins with the last frame before the silence and ends with the next frame, or when the camera is
 * stopped. It counts as one when the camera is Stalled or Offline, so a frame that is late by less than
 * stalledAfterMs() is none, and neither is a slow start. A silence that nobody has seen, because the thread
 * of the watch was busy meanwhile, is accounted for afterwards. There is one console line when an outage has
 * lasted for offlineAfterMs() or begins with an error, and one when it ends.
 *
 * A source with less than a frame in two seconds needs a larger stalledAfterMs().
 *
 * \thread That of the camera, which needs an event loop. The frames may come on any thread, and cost a lock
 *         each that is held for a few additions. The camera may be deleted at any time.
 */
class VTCV_EXPORT CameraHealthWatch : public QObject
{
    Q_OBJECT
    Q_PROPERTY(Camera *camera READ camera WRITE setCamera NOTIFY cameraChanged)
    Q_PROPERTY(State state READ state NOTIFY stateChanged)
    Q_PROPERTY(qint64 frameAgeMs READ frameAgeMs)
    Q_PROPERTY(int stalledAfterMs READ stalledAfterMs WRITE setStalledAfterMs)
    Q_PROPERTY(int offlineAfterMs READ offlineAfterMs WRITE setOfflineAfterMs)
    Q_PROPERTY(int checkIntervalMs READ checkIntervalMs WRITE setCheckIntervalMs)
    Q_PROPERTY(QString lastError READ lastError NOTIFY errorOccurred)

public:
    enum State
    {
        Off, // no camera, or one that is not running
        Starting, // running, and no frame yet for less than offlineAfterMs()
        Live, // the last frame is younger than stalledAfterMs()
        Stalled, // no frame for stalledAfterMs()
        Offline // no frame for offlineAfterMs(), or none since an error
    };
    Q_ENUM(State)

    /** A time without frames. */
    struct Outage
    {
        QDateTime began; // the last frame, or the start of the camera
        qint64 lengthMs = 0; // so far, if it is not over
        bool isOver = false;
        QString error; // what the camera reported meanwhile; empty for nothing
    };

    /** Gives the time since any fixed moment. It is called on the threads of the frames as well. */
    using Clock = std::function<std::chrono::nanoseconds()>;

    explicit CameraHealthWatch(Camera *camera = nullptr, QObject *parent = nullptr);
    ~CameraHealthWatch() override;

    Camera *camera() const;

    /** Watches \a camera, or none for null; the account begins anew. \ownership The caller's. */
    void setCamera(Camera *camera);

    /** What the last check() has found. */
    State state() const { return currentState; }

    /** Milliseconds since the last frame; -1 before the first one. */
    qint64 frameAgeMs() const;

    /** Milliseconds without frames, if that counts as an outage; 0 if there is none. */
    qint64 outageMs() const;

    /** The latest 1000 outages that are over, in the order of time, and behind them the one that lasts. */
    QVector<Outage> outages() const;

    /** The number of outages and their length together, with those that outages() has dropped. */
    int outageCount() const;
    qint64 totalOutageMs() const;

    /** The last error since setCamera(); it stays when the camera has recovered. Empty for none. */
    QString lastError() const { return error; }

    /** 2000 at first. \param ms 1 at least. */
    void setStalledAfterMs(int ms);
    int stalledAfterMs() const { return stalledMs; }

    /** 10000 at first. One below stalledAfterMs() leaves no room for Stalled. \param ms 1 at least. */
    void setOfflineAfterMs(int ms);
    int offlineAfterMs() const { return offlineMs; }

    /** The time between two checks, 250 at first; 0 leaves them to check() alone. */
    void setCheckIntervalMs(int ms);
    int checkIntervalMs() const { return intervalMs; }

    /** Puts \a clock in place of the steady one, for hosts with a time of their own. Without a camera only.
     */
    void setClock(Clock clock);

public Q_SLOTS:
    /** Looks at the frames now; a timer does it while the camera runs. */
    void check();

    /** Makes the camera Offline with the next check(), until a frame comes. */
    void reportError(const QString &text);

Q_SIGNALS:
    void cameraChanged(Camera *camera);
    void stateChanged(CameraHealthWatch::State state);
    void outageBegan(const CameraHealthWatch::Outage &outage);
    void outageEnded(const CameraHealthWatch::Outage &outage);

    /** The device or reportError() told of an error; the camera may go on all the same. */
    void errorOccurred(const QString &text);

private:
    class FrameLog;

    void followDevice();
    void followRunning(bool running);
    void beginOutage(std::chrono::nanoseconds since);
    void endOutage(std::chrono::nanoseconds at);
    void setState(State state);
    void tell(const QString &text) const;

    QPointer<Camera> watched;
    QPointer<QCamera> device; // the one whose errors are connected
    ConnectionHelper connections; // those to the camera and its device
    Clock clock; // empty for the steady one
    std::shared_ptr<FrameLog> frames; // shared with the threads of the frames; guards itself
    QTimer timer; // runs while the camera does
    State currentState = Off;
    int stalledMs = 2000;
    int offlineMs = 10000;
    int intervalMs = 250;
    QVector<Outage> past; // complete ones
    int pastCount = 0;
    qint64 pastMs = 0;
    bool isOut = false; // an outage lasts: `current`, from outageStart on
    bool isTold = false; // on the console
    Outage current;
    std::chrono::nanoseconds outageStart{0};
    QString error; // the last one
    bool isError = false; // no frame has come since
    qint64 framesAtError = 0;
};

Q_DECLARE_METATYPE(CameraHealthWatch::Outage)
