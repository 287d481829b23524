#include "playback/playerdelivery_p.h"

#include "image/racecheck_p.h"

#include <utility>

PlayerDelivery::PlayerDelivery(QObject *receiver, std::function<void()> handler)
    : receiver(receiver), handler(std::move(handler))
{
}

void PlayerDelivery::putImage(const QImage &image, int frame)
{
    put([&] {
        news.image = {image, true, 0};
        news.frame = frame;
    });
}

void PlayerDelivery::putSliderPosition(int position, unsigned ordersDone)
{
    put([&] { news.sliderPosition = {position, true, ordersDone}; });
}

void PlayerDelivery::putPlaying(bool playing, unsigned ordersDone)
{
    put([&] { news.playing = {playing, true, ordersDone}; });
}

void PlayerDelivery::putUnreadable()
{
    put([&] { news.isUnreadable = true; });
}

PlayerDelivery::News PlayerDelivery::take()
{
    const RaceCheck::Locker lock(&mutex);
    isAnnounced = false;
    return std::exchange(news, News());
}

template <typename Change> void PlayerDelivery::put(const Change &change)
{
    {
        const RaceCheck::Locker lock(&mutex);
        change();
        if (std::exchange(isAnnounced, true))
            return;
    }
    QMetaObject::invokeMethod(receiver, handler, Qt::QueuedConnection);
}
