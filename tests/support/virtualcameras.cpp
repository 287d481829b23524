#include "support/virtualcameras.h"

#include "support/backends.h"

#include <QAbstractVideoSurface>
#include <QCameraControl>
#include <QCameraViewfinderSettingsControl2>
#include <QCoreApplication>
#include <QMediaAvailabilityControl>
#include <QMediaService>
#include <QMediaServiceProviderPlugin>
#include <QVideoDeviceSelectorControl>
#include <QVideoRendererControl>
#include <QVideoSurfaceFormat>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <thread>

using namespace std::chrono_literals;

namespace virtualcameras {

namespace {

struct Store
{
    std::mutex mutex; // guards the devices and the count of frames
    QVector<Device> devices;
    std::map<QByteArray, int> taken;
    std::atomic<int> streaming{0};
    std::atomic<int> writtenTo{0};

    std::optional<Device> find(const QByteArray &name)
    {
        const std::lock_guard lock(mutex);
        for (const Device &device : qAsConst(devices)) {
            if (device.name == name)
                return device;
        }
        return {};
    }
};

Store &store()
{
    static Store theStore;
    return theStore;
}

// A back end's buffer: its memory may be reused by the device as soon as nobody maps it.
class Buffer : public QAbstractVideoBuffer
{
public:
    Buffer(QImage image, bool mappable)
        : QAbstractVideoBuffer(NoHandle), pixels(std::move(image)), mappable(mappable)
    {
        if (pixels.width() * pixels.height() < 100'000) // large pictures would take too long
            original = pixels.copy();
    }

    MapMode mapMode() const override { return mode; }

    uchar *map(MapMode wanted, int *numBytes, int *bytesPerLine) override
    {
        if (!mappable)
            return nullptr;
        mode = wanted;
        *numBytes = int(pixels.sizeInBytes());
        *bytesPerLine = pixels.bytesPerLine();
        return pixels.bits();
    }

    void unmap() override
    {
        if (mode == ReadOnly && !original.isNull() && pixels != original)
            ++store().writtenTo;
        if (!original.isNull())
            pixels.fill(Qt::magenta);
        mode = NotMapped;
    }

private:
    QImage pixels;
    QImage original;
    bool mappable;
    MapMode mode = NotMapped;
};

// Runs calls of other threads on its own. Qt's queued calls would do, but the thread sanitizer does not see
// that their arguments are handed over.
class Mailbox : public QObject
{
public:
    void post(std::function<void()> call)
    {
        {
            const std::lock_guard lock(mutex);
            calls.push_back(std::move(call));
        }
        QCoreApplication::postEvent(this, new QEvent(QEvent::User));
    }

    bool event(QEvent *event) override
    {
        if (event->type() != QEvent::User)
            return QObject::event(event);
        std::function<void()> call;
        {
            const std::lock_guard lock(mutex);
            call = std::move(calls.front());
            calls.pop_front();
        }
        call(); // may delete this object
        return true;
    }

private:
    std::mutex mutex; // guards calls
    std::deque<std::function<void()>> calls;
};

// Delivers the frames of one device, between start() and stop().
class Stream
{
public:
    ~Stream() { stop(); }

    void setSurface(QAbstractVideoSurface *value) { surface = value; }

    void setSize(QSize value)
    {
        const std::lock_guard lock(mutex);
        size = value;
    }

    QSize getSize()
    {
        const std::lock_guard lock(mutex);
        return size;
    }

    // `died` is called on the stream's thread, with the number of this start.
    void start(const Device &device, Mailbox *gui, const std::function<void(int)> &died)
    {
        const std::lock_guard lock(lifeMutex);
        end();
        ++starts;
        running = std::make_shared<std::atomic<bool>>(true);
        thread = std::thread([=, start = starts] { run(device, gui, [=] { died(start); }); });
    }

    void stop()
    {
        const std::lock_guard lock(lifeMutex);
        end();
    }

    // False if there has been another start since.
    bool stopIfStart(int number)
    {
        const std::lock_guard lock(lifeMutex);
        if (number == starts)
            end();
        return number == starts;
    }

private:
    void end()
    {
        if (!thread.joinable())
            return;
        {
            const std::lock_guard lock(mutex);
            *running = false;
        }
        wake.notify_all();
        thread.join();
    }

    void run(const Device &device, Mailbox *gui, const std::function<void()> &died)
    {
        ++store().streaming;
        auto next = std::chrono::steady_clock::now();
        for (int number = 0; waitUntil(next); ++number) {
            next += std::chrono::nanoseconds(qint64(1e9 / device.frameRate));
            if (!store().find(device.name) || (device.diesAfter && number == device.diesAfter)) {
                died();
                break;
            }
            if (device.onGuiThread)
                presentOnGuiThread(device, number, gui);
            else
                present(device, number, getSize());
        }
        --store().streaming;
    }

    template <typename Time> bool waitUntil(Time time)
    {
        std::unique_lock lock(mutex);
        return !wake.wait_until(lock, time, [this] { return !*running; });
    }

    // Never waits for a GUI thread that may itself wait for this thread to end.
    void presentOnGuiThread(const Device &device, int number, Mailbox *gui)
    {
        const auto done = std::make_shared<std::atomic<bool>>(false);
        gui->post([=, running = running] {
            if (*running)
                present(device, number, getSize());
            *done = true;
        });
        while (*running && !*done)
            std::this_thread::sleep_for(1ms);
    }

    void present(const Device &device, int number, QSize frameSize)
    {
        const auto isTurn = [&](int every) { return every && number % every == every - 1; };
        QAbstractVideoSurface *const target = surface;
        if (!target)
            return;
        if (target->isActive() && target->surfaceFormat().frameSize() != frameSize)
            target->stop();
        if (!target->isActive() && !target->start(QVideoSurfaceFormat(frameSize, device.format)))
            return;
        if (isTurn(device.invalidEvery)) {
            target->present(QVideoFrame());
            return;
        }
        const QVideoFrame frame =
            videoFrame(picture(frameSize, number), device.format, !isTurn(device.unmappableEvery));
        if (target->present(frame)) {
            const std::lock_guard lock(store().mutex);
            ++store().taken[device.name];
        }
    }

    std::mutex lifeMutex; // guards thread, running and starts: devices die while they are started
    int starts = 0;
    std::mutex mutex; // guards size and the wish to stop
    std::condition_variable wake;
    std::atomic<QAbstractVideoSurface *> surface{nullptr};
    QSize size;
    std::shared_ptr<std::atomic<bool>> running;
    std::thread thread;
};

class Control : public QCameraControl
{
public:
    Control(Stream *stream, const QByteArray *name) : stream(stream), name(name) { }

    QCamera::State state() const override { return currentState; }
    QCamera::Status status() const override { return currentStatus; }
    QCamera::CaptureModes captureMode() const override { return QCamera::CaptureViewfinder; }
    void setCaptureMode(QCamera::CaptureModes) override { }
    bool isCaptureModeSupported(QCamera::CaptureModes mode) const override
    {
        return mode == QCamera::CaptureViewfinder;
    }
    bool canChangeProperty(PropertyChangeType, QCamera::Status) const override { return true; }

    void setState(QCamera::State wanted) override
    {
        if (wanted == currentState)
            return;
        if (wanted == QCamera::ActiveState) {
            const auto device = store().find(*name);
            if (!device) {
                Q_EMIT error(QCamera::CameraError, QStringLiteral("no such device"));
                return;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(device->startBlocksMs));
            stream->start(*device, &mailbox, [this](int start) { mailbox.post([=] { die(start); }); });
        } else {
            stream->stop();
        }
        change(wanted,
            wanted == QCamera::ActiveState       ? QCamera::ActiveStatus
                : wanted == QCamera::LoadedState ? QCamera::LoadedStatus
                                                 : QCamera::UnloadedStatus);
    }

private:
    // Signals come on the thread that asks, as those of other back ends do.
    void change(QCamera::State state, QCamera::Status status)
    {
        currentState = state;
        currentStatus = status;
        Q_EMIT stateChanged(state);
        Q_EMIT statusChanged(status);
    }

    void die(int start)
    {
        if (!stream->stopIfStart(start))
            return;
        Q_EMIT error(QCamera::CameraError, QStringLiteral("the device is gone"));
        change(QCamera::UnloadedState, QCamera::UnavailableStatus);
    }

    Mailbox mailbox;
    Stream *stream;
    const QByteArray *name;
    std::atomic<QCamera::State> currentState{QCamera::UnloadedState};
    std::atomic<QCamera::Status> currentStatus{QCamera::UnloadedStatus};
};

class Selector : public QVideoDeviceSelectorControl
{
public:
    explicit Selector(Stream *stream) : stream(stream)
    {
        const std::lock_guard lock(store().mutex);
        devices = store().devices;
        name = devices.isEmpty() ? QByteArray() : devices.first().name;
    }

    int deviceCount() const override { return devices.size(); }
    QString deviceName(int index) const override { return QString::fromLatin1(devices[index].name); }
    QString deviceDescription(int index) const override { return devices[index].description; }
    int defaultDevice() const override { return 0; }
    int selectedDevice() const override { return selected; }
    void setSelectedDevice(int index) override
    {
        selected = index;
        name = devices[index].name;
        stream->setSize(devices[index].resolutions.value(0, QSize(64, 48)));
    }

    QVector<Device> devices;
    QByteArray name;

private:
    Stream *stream;
    int selected = 0;
};

class Renderer : public QVideoRendererControl
{
public:
    explicit Renderer(Stream *stream) : stream(stream) { }
    QAbstractVideoSurface *surface() const override { return current; }
    void setSurface(QAbstractVideoSurface *surface) override { stream->setSurface(current = surface); }

private:
    Stream *stream;
    QAbstractVideoSurface *current = nullptr;
};

class Viewfinder : public QCameraViewfinderSettingsControl2
{
public:
    Viewfinder(Stream *stream, const Selector *selector) : stream(stream), selector(selector) { }

    QList<QCameraViewfinderSettings> supportedViewfinderSettings() const override
    {
        QList<QCameraViewfinderSettings> all;
        for (const QSize &size : selector->devices.value(selector->selectedDevice()).resolutions) {
            QCameraViewfinderSettings one;
            one.setResolution(size);
            all << one;
        }
        return all;
    }
    QCameraViewfinderSettings viewfinderSettings() const override { return current; }
    void setViewfinderSettings(const QCameraViewfinderSettings &settings) override
    {
        current = settings;
        if (settings.resolution().isValid())
            stream->setSize(settings.resolution());
    }

private:
    Stream *stream;
    const Selector *selector;
    QCameraViewfinderSettings current;
};

class Availability : public QMediaAvailabilityControl
{
public:
    explicit Availability(const QByteArray *name) : name(name) { }
    QMultimedia::AvailabilityStatus availability() const override
    {
        const auto device = store().find(*name);
        return device && device->available ? QMultimedia::Available : QMultimedia::Busy;
    }

private:
    const QByteArray *name;
};

class Service : public QMediaService
{
public:
    Service() : QMediaService(nullptr) { }
    ~Service() override { stream.stop(); }

    QMediaControl *requestControl(const char *name) override
    {
        const std::map<QByteArray, QMediaControl *> controls{{QCameraControl_iid, &control},
            {QVideoDeviceSelectorControl_iid, &selector}, {QVideoRendererControl_iid, &renderer},
            {QCameraViewfinderSettingsControl2_iid, &viewfinder},
            {QMediaAvailabilityControl_iid, &availability}};
        const auto found = controls.find(name);
        return found == controls.end() ? nullptr : found->second;
    }
    void releaseControl(QMediaControl *) override { }

private:
    Stream stream;
    Selector selector{&stream};
    Control control{&stream, &selector.name};
    Renderer renderer{&stream};
    Viewfinder viewfinder{&stream, &selector};
    Availability availability{&selector.name};
};

} // namespace

class Plugin : public QMediaServiceProviderPlugin,
               public QMediaServiceSupportedDevicesInterface,
               public QMediaServiceDefaultDeviceInterface,
               public QMediaServiceFeaturesInterface
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "org.qt-project.qt.mediaserviceproviderfactory/5.0" FILE "virtualcameras.json")
    Q_INTERFACES(QMediaServiceSupportedDevicesInterface QMediaServiceDefaultDeviceInterface
            QMediaServiceFeaturesInterface)

public:
    QMediaService *create(const QString &) override { return new Service; }
    void release(QMediaService *service) override { delete service; }

    QList<QByteArray> devices(const QByteArray &) const override
    {
        const std::lock_guard lock(store().mutex);
        QList<QByteArray> names;
        for (const Device &device : qAsConst(store().devices))
            names << device.name;
        return names;
    }
    QString deviceDescription(const QByteArray &, const QByteArray &name) override
    {
        const auto device = store().find(name);
        return device ? device->description : QString();
    }
    QByteArray defaultDevice(const QByteArray &service) const override { return devices(service).value(0); }
    QMediaServiceProviderHint::Features supportedFeatures(const QByteArray &) const override
    {
        return QMediaServiceProviderHint::VideoSurface;
    }
};

void setDevices(QVector<Device> devices)
{
    static std::once_flag once;
    std::call_once(once, hideBackEnds, QStringLiteral("mediaservice"));
    for (int i = 0; i < devices.size(); ++i) {
        if (devices[i].name.isEmpty())
            devices[i].name = "virtual" + QByteArray::number(i);
    }
    const std::lock_guard lock(store().mutex);
    store().devices = devices;
    store().taken.clear();
}

int framesTaken(const QByteArray &name)
{
    const std::lock_guard lock(store().mutex);
    int sum = 0;
    for (const auto &[device, frames] : store().taken) {
        if (name.isEmpty() || device == name)
            sum += frames;
    }
    return sum;
}

int streaming()
{
    return store().streaming;
}

int framesWrittenTo()
{
    return store().writtenTo;
}

cv::Mat picture(QSize size, int number)
{
    thread_local cv::Mat base; // of the last size; red is 0
    if (base.cols != size.width() || base.rows != size.height()) {
        base.create(size.height(), size.width(), CV_8UC4);
        for (int y = 0; y < base.rows; ++y) {
            for (int x = 0; x < base.cols; ++x)
                base.at<cv::Vec4b>(y, x) = cv::Vec4b(uchar(x), uchar(y), 0, 255);
        }
    }
    cv::Mat result;
    cv::bitwise_or(base, cv::Scalar(0, 0, number % 256, 0), result);
    return result;
}

QVideoFrame videoFrame(const cv::Mat &bgra, QVideoFrame::PixelFormat format, bool mappable)
{
    // Rows are longer than their pixels, as with many devices.
    const int bytesPerLine = bgra.cols * 4 + 64;
    QImage image(bgra.cols + 16, bgra.rows, QImage::Format_RGB32);
    Q_ASSERT(image.bytesPerLine() == bytesPerLine);
    cv::Mat target(bgra.rows, bgra.cols, CV_8UC4, image.bits(), size_t(bytesPerLine));
    bgra.copyTo(target);
    const QImage::Format imageFormat = QVideoFrame::imageFormatFromPixelFormat(format);
    if (image.depth() != QImage::toPixelFormat(imageFormat).bitsPerPixel())
        image = image.convertToFormat(imageFormat);
    return QVideoFrame(new Buffer(image, mappable), QSize(bgra.cols, bgra.rows), format);
}

} // namespace virtualcameras

using virtualcameras::Plugin;
Q_IMPORT_PLUGIN(Plugin)

#include "virtualcameras.moc"
