#include "pipeline/prefetchingprovider.h"

#include <QDebug>
#include <QtConcurrent>

#include <algorithm>
#include <climits>
#include <exception>
#include <utility>

PrefetchingProvider::PrefetchingProvider(
    std::unique_ptr<ImageProviderBase> source, int readAhead, QObject *parent)
    : ImageProviderBase(parent), source(std::move(source)), readAhead(qMax(1, readAhead)),
      streaming(this->source->isSourceStreaming())
{
    pool.setMaxThreadCount(1);
    connect(
        this->source.get(), &ImageProviderBase::nextFrameReady, this,
        [this](cv::Mat *frame, int index) {
            received.reset(frame);
            receivedIndex = index;
        },
        Qt::DirectConnection);
    // From the thread that reads this is queued.
    connect(this->source.get(), &ImageProviderBase::frameAmountChanged, this,
        &PrefetchingProvider::setFrameAmount);
    connect(this, &ImageProviderBase::frameAmountChanged, this, [this](int value) {
        const QMutexLocker lock(&mutex);
        amount = value;
    });
    setFrameAmount(this->source->getFrameAmount());
}

PrefetchingProvider::~PrefetchingProvider()
{
    {
        const QMutexLocker lock(&mutex);
        paused = true;
    }
    pool.waitForDone();
    source->disconnect(this);
}

int PrefetchingProvider::getReadAhead() const
{
    return readAhead;
}

bool PrefetchingProvider::isSourceStreaming()
{
    return streaming;
}

void PrefetchingProvider::withSource(const std::function<void(ImageProviderBase &)> &change)
{
    {
        QMutexLocker lock(&mutex);
        paused = true;
        while (reading)
            readEnded.wait(&mutex);
        requests.clear();
        ready.clear();
        wanted = false;
    }
    lastRequest = -1;
    const auto resume = [this] {
        received.reset();
        const QMutexLocker lock(&mutex);
        paused = false;
        readOn();
    };
    try {
        change(*source);
    } catch (...) {
        resume();
        throw;
    }
    setFrameAmount(source->getFrameAmount());
    resume();
}

void PrefetchingProvider::cancelRequests()
{
    const QMutexLocker lock(&mutex);
    requests.clear();
}

void PrefetchingProvider::prepareFrame(int index)
{
    if (index < 0 || (!streaming && index >= m_frameAmount))
        return;
    // A step is believed if it is that to a neighbour, or the second one of its kind: a single jump tells
    // nothing of what comes next.
    const int difference = lastRequest < 0 ? 1 : index - lastRequest;
    const bool known = difference == lastDifference || difference == 1 || difference == -1;
    lastRequest = index;
    lastDifference = difference;

    const QMutexLocker lock(&mutex);
    requestedStep = known && difference != 0 ? difference : 1;
    wanted = true;
    requests.push_back(index);
    if (requests.size() == 1)
        planFor(index);
    readOn();
    if (isAnswerReady())
        scheduleAnswer();
}

// With the mutex: sees to it that the frame of the foremost request lies in front, or is being read, or comes
// next.
void PrefetchingProvider::planFor(int index)
{
    if (streaming)
        return;
    const auto found = std::find_if(
        ready.begin(), ready.end(), [index](const Entry &entry) { return entry.requested == index; });
    const bool isComing = found != ready.end() || readingIndex == index;
    ready.erase(ready.begin(), found);
    if (isComing)
        return;
    readingIndex = -1;
    nextIndex = index;
    step = requestedStep;
}

// With the mutex.
bool PrefetchingProvider::isAnswerReady() const
{
    return !requests.empty() && !ready.empty() && (streaming || ready.front().requested == requests.front());
}

// With the mutex: starts to read one frame if there is room for it.
void PrefetchingProvider::readOn()
{
    if (reading || paused || !wanted || ready.size() >= static_cast<size_t>(readAhead))
        return;
    // What was asked for is read in any case, so that each request comes to its end.
    const bool isAskedFor = !requests.empty() && requests.front() == nextIndex;
    if (!streaming && !isAskedFor && (nextIndex < 0 || nextIndex >= amount))
        return;
    reading = true;
    readingIndex = nextIndex;
    nextIndex = static_cast<int>(qBound<qint64>(-1, qint64(nextIndex) + step, INT_MAX));
    // One frame a job, whose index goes with it: readingIndex may change meanwhile.
    QtConcurrent::run(&pool, [this, index = readingIndex] { readOne(index); });
}

// On the pool's thread.
void PrefetchingProvider::readOne(int index)
{
    received.reset();
    try {
        source->prepareFrame(index);
    } catch (const std::exception &error) {
        qWarning() << "PrefetchingProvider: frame" << index << "cannot be read:" << error.what();
        received.reset();
    }
    Entry entry{index, receivedIndex, std::move(received)};

    const QMutexLocker lock(&mutex);
    reading = false;
    if (!paused && (streaming || readingIndex == index))
        ready.push_back(std::move(entry));
    readingIndex = -1;
    readOn();
    if (isAnswerReady())
        scheduleAnswer();
    readEnded.wakeAll();
}

void PrefetchingProvider::scheduleAnswer()
{
    QMetaObject::invokeMethod(this, &PrefetchingProvider::answer, Qt::QueuedConnection);
}

void PrefetchingProvider::answer()
{
    Entry entry;
    {
        const QMutexLocker lock(&mutex);
        if (!isAnswerReady())
            return;
        entry = std::move(ready.front());
        ready.pop_front();
        requests.pop_front();
        if (!requests.empty())
            planFor(requests.front());
        readOn();
        if (isAnswerReady())
            scheduleAnswer();
    }
    // Last of all, since the receiver may destroy us.
    if (entry.frame)
        deliverFrame(entry.index, std::move(entry.frame));
}
