#pragma once

#include "vtcv_export.h"

#include <QImage>
#include <QMutex>
#include <QObject>

#include <functional>

/**
 * Carries to the GUI thread what a player's worker has to tell: of each kind the newest, in one queued call.
 *
 * So at most one picture waits, however far the GUI thread is behind.
 *
 * \thread take(): that of the receiver. The rest: the worker's.
 */
class VTCV_TEST_EXPORT PlayerDelivery
{
public:
    template <typename T> struct Dated
    {
        T value{};
        bool isNew = false;
        unsigned ordersDone = 0; // by the worker, when it told this
    };

    struct News
    {
        Dated<QImage> image;
        int frame = -1; // the number of the image
        Dated<int> sliderPosition;
        Dated<bool> playing;
        bool isUnreadable = false; // nothing has come of the first frame
    };

    /** Calls \a handler on the thread of \a receiver, which outlives the worker, when there is something to
     * take. */
    PlayerDelivery(QObject *receiver, std::function<void()> handler);

    void putImage(const QImage &image, int frame);
    void putSliderPosition(int position, unsigned ordersDone);
    void putPlaying(bool playing, unsigned ordersDone);
    void putUnreadable();

    News take();

private:
    template <typename Change> void put(const Change &change);

    QObject *const receiver;
    const std::function<void()> handler;
    QMutex mutex; // guards the rest
    News news;
    bool isAnnounced = false;
};
