#pragma once

#include "cameras/imagecvmatholder.h"
#include "vtcv_export.h"

#include <QList>
#include <QSize>
#include <QString>

class CameraSettings;
class FrameRateCounter;

/**
 * Yields frames over time: the base of all cameras, and a source by itself into which a host pushes frames.
 *
 *     Camera source;
 *     source.setFrameSizes({QSize(640, 480)});
 *     source.setFrameSize(640, 480);
 *     source.start();
 *     source.setFrame(frame); // counts for the frame rate
 *
 * isRunning says what was last asked for, not that frames flow: a camera whose device is gone stays flagged
 * as running. start(), stop() and finish() never look at the flag first. A camera that was stopped can be
 * started again; finish() is the end of its use and lets go of the device.
 *
 * A concrete camera fills the four hooks, sets `settings` in its constructor and releases its device in its
 * own destructor. This class's destructor emits isRunningChanged(false) once more, but when it runs the
 * subclass's hooks are gone.
 *
 * \thread The camera object's own, but for setFrame(), getFrame() and getImage(). Sizes, moniker and flags
 *         are not protected.
 */
class VTCV_EXPORT Camera : public ImageCvMatHolder
{
    Q_OBJECT
    Q_PROPERTY(bool isRunning READ getIsRunning WRITE setIsRunning NOTIFY isRunningChanged)
    Q_PROPERTY(double frameRate READ getFrameRate WRITE setFrameRate NOTIFY frameRateChanged)
    Q_PROPERTY(QSize frameSize READ getFrameSize WRITE setFrameSize NOTIFY frameSizeChanged)
    Q_PROPERTY(QList<QSize> frameSizes READ getFrameSizes WRITE setFrameSizes NOTIFY frameSizesChanged)
    Q_PROPERTY(QString moniker READ getMoniker WRITE setMoniker NOTIFY monikerChanged)

public:
    explicit Camera(QObject *parent = nullptr);
    ~Camera() override;

    /** The persisted settings; null in a plain Camera. \ownership The concrete camera's. */
    CameraSettings *getSettings() const { return settings; }

    /** The current frame size in pixels; invalid (-1 by -1) before the first setFrameSize(). */
    QSize getFrameSize();

    /** The sizes that the source offers, in its order. */
    QList<QSize> getFrameSizes();
    int getFrameSizeCount();

    /** The size at \a index, from 0; the invalid QSize() outside of the list. */
    QSize getFrameSizeAt(int index);

    /** The first index of \a size in the list, -1 if it is not there. */
    int frameSizeIndex(QSize size);

    /**
     * Makes \a size the current one and asks the source for it, also where it is current already.
     *
     * \return false for a size that is not in the list; nothing has changed then.
     */
    bool setFrameSize(QSize size);
    bool setFrameSize(int width, int height);

    /** Sets the list and always emits frameSizesChanged(). The current size stays, even if it is not in it.
     */
    void setFrameSizes(QList<QSize> sizes);

    /**
     * Removes the first entry that equals \a size. If the current size has the same width, the camera moves
     * to the first entry that is left. frameSizesChanged() is not emitted.
     */
    void removeFrameSize(QSize size);

    /** Restarts the rate counter and the source; on a running camera too. */
    Q_INVOKABLE void start();
    Q_INVOKABLE void stop();

    /** Stops, then lets go of the device. */
    Q_INVOKABLE void finish();

    /** Sets the flag alone and always emits isRunningChanged(); it neither starts nor stops the source. */
    Q_INVOKABLE void setIsRunning(bool value);
    Q_INVOKABLE bool getIsRunning();

    /** Sets the rate in Hz and always emits frameRateChanged(). The next measured rate replaces it. */
    Q_INVOKABLE void setFrameRate(double value);

    /** The last rate in Hz; 0 before the first one is measured. */
    Q_INVOKABLE double getFrameRate();

    /** Sets the name by which the camera is found and which its settings file is named after. */
    Q_INVOKABLE void setMoniker(const QString &value);
    Q_INVOKABLE QString getMoniker() const;

public Q_SLOTS:
    /** Takes a measured \a rate, in Hz; the same as setFrameRate(). */
    void frameRateCounted(double rate);

Q_SIGNALS:
    /** A rate was set or measured, in Hz. */
    void frameRateChanged(double value);
    void frameSizeChanged(QSize value);
    void monikerChanged(QString value);
    void frameSizesChanged(QList<QSize> value);
    /** Comes with every start, stop and finish, changed or not. */
    void isRunningChanged(bool value);

protected:
    /** Asks the source for frames of a size of the list. Does nothing here, as the others. */
    virtual void internalSetFrameSize(int width, int height);
    virtual void internalStart();
    virtual void internalStop();

    /** Lets go of the device; internalStop() has been called before. */
    virtual void internalFinish();

    CameraSettings *settings = nullptr; // set, and owned, by the concrete camera
    bool isRunning = false;
    QSize frameSize;
    FrameRateCounter *frameRateCounter = nullptr; // a child of the camera; ticked on the thread of setFrame()
    QString moniker;
    QList<QSize> frameSizes;
    double frameRate = 0.0;
};
