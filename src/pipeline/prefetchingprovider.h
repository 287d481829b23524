#pragma once

#include "pipeline/imageproviderbase.h"
#include "vtcv_export.h"

#include <QMutex>
#include <QThreadPool>
#include <QWaitCondition>

#include <deque>
#include <functional>
#include <memory>

/**
 * Reads ahead in another provider, on a thread of a pool, and hands its frames over in the order in which
 * they were asked for.
 *
 *     auto *pictures = new ImageFolderProvider;
 *     PrefetchingProvider provider{std::unique_ptr<ImageProviderBase>(pictures)};
 *     connect(&provider, &PrefetchingProvider::nextFrameReady, ...);
 *     provider.withSource([&](ImageProviderBase &) { pictures->setFolder(path); });
 *     provider.prepareFrame(0);
 *
 * prepareFrame() returns at once. The frame comes through nextFrameReady() from the event loop, never before
 * prepareFrame() has returned, so a receiver may ask for the next frame from within its slot. Each request
 * gives one frame, or none where the source delivers none.
 *
 * While the host works on a frame, the following ones are read: forward, or backward, or in equal steps if
 * that is how the frames were asked for. A request for another frame than the following ones starts anew from
 * there. At most getReadAhead() frames lie ready, and one more is being read.
 *
 * \thread The object's own, which needs an event loop. Signals come there.
 */
class VTCV_EXPORT PrefetchingProvider : public ImageProviderBase
{
    Q_OBJECT

public:
    /**
     * \param source delivers, within its prepareFrame() and on whatever thread that is called, as the
     * providers of this library do. What it sends at other times is freed.
     * \param readAhead how many frames lie ready at most, at least 1.
     *
     * \ownership \a source is the adaptor's. All access to it goes through withSource().
     */
    explicit PrefetchingProvider(
        std::unique_ptr<ImageProviderBase> source, int readAhead = 4, QObject *parent = nullptr);

    /** Waits for the frame that is being read. */
    ~PrefetchingProvider() override;

    int getReadAhead() const;

    /** That of the source. A streaming one gives its next frame for each request, whatever the index. */
    bool isSourceStreaming() override;

    /**
     * Calls \a change with the source while nothing reads in it, to set its folder for instance. Waits for
     * the frame that is being read. What was read before and requests that have not been answered are
     * dropped. The number of frames becomes that of the source; if it stays the same, so does the current
     * index.
     */
    void withSource(const std::function<void(ImageProviderBase &)> &change);

    /** Forgets the requests that have not been answered, so that the next one is answered first: for a slider
     * that moves faster than frames can be read. */
    void cancelRequests();

public Q_SLOTS:
    /** Asks for the frame of number \a index; see the class. Does nothing for one outside of 0 to
     * getFrameAmount() - 1. */
    void prepareFrame(int index = 0) override;

private:
    struct Entry
    {
        int requested = 0; // the number that the source was asked for
        int index = 0; // the number that it told
        std::unique_ptr<cv::Mat> frame; // null where it delivered none
    };

    void planFor(int index);
    bool isAnswerReady() const;
    void readOn();
    void readOne(int index);
    void scheduleAnswer();
    void answer();

    const std::unique_ptr<ImageProviderBase> source; // of the thread that reads, or of withSource()
    const int readAhead;
    const bool streaming;
    std::unique_ptr<cv::Mat> received; // goes with the source
    int receivedIndex = 0; // goes with the source
    int lastRequest = -1; // of the object's thread
    int lastDifference = 1; // of the object's thread

    QMutex mutex; // guards all below but the pool; never held while a frame is read or handed over
    QWaitCondition readEnded;
    std::deque<int> requests;
    std::deque<Entry> ready; // in the order of reading; what the foremost request waits for comes first
    int amount = 0; // that of the source, as far as we know
    int nextIndex = 0; // to be read next
    int step = 1; // from there on
    int requestedStep = 1; // the step of the next plan
    int readingIndex = -1; // what is being read; -1 if nobody wants it any more
    bool reading = false;
    bool wanted = false; // there has been a request, so it makes sense to read ahead
    bool paused = false; // nothing may be read
    QThreadPool pool; // our own: the shared one may be full of long jobs of the host
};
