#include "cameras/devicemonitor_p.h"

#ifdef VTCV_WITH_UDEV
#include <libudev.h>
#include <QFileInfo>
#include <QSocketNotifier>
#endif

namespace {

constexpr int soonMs = 200;
constexpr int laterMs = 1500;

} // namespace

DeviceMonitor::DeviceMonitor(const char *subsystem, QObject *parent) : QObject(parent)
{
    soon.setSingleShot(true);
    soon.setInterval(soonMs);
    later.setSingleShot(true);
    later.setInterval(laterMs);
    connect(&soon, &QTimer::timeout, this, &DeviceMonitor::changed);
    connect(&later, &QTimer::timeout, this, &DeviceMonitor::changed);
#ifdef VTCV_WITH_UDEV
    context = udev_new();
    monitor = context ? udev_monitor_new_from_netlink(context, "udev") : nullptr;
    if (!monitor || udev_monitor_filter_add_match_subsystem_devtype(monitor, subsystem, nullptr) < 0
        || udev_monitor_enable_receiving(monitor) < 0) {
        return;
    }
    auto *const notifier = new QSocketNotifier(udev_monitor_get_fd(monitor), QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, &DeviceMonitor::read);
#else
    Q_UNUSED(subsystem)
#endif
}

DeviceMonitor::~DeviceMonitor()
{
#ifdef VTCV_WITH_UDEV
    qDeleteAll(findChildren<QSocketNotifier *>()); // before the socket is closed
    udev_monitor_unref(monitor);
    udev_unref(context);
#endif
}

bool DeviceMonitor::isFed() const
{
#ifdef VTCV_WITH_UDEV
    return monitor && QFileInfo::exists(QStringLiteral("/run/udev/control"));
#else
    return false;
#endif
}

void DeviceMonitor::read()
{
#ifdef VTCV_WITH_UDEV
    // The socket does not block: null says that there was nothing of interest.
    udev_device *const device = udev_monitor_receive_device(monitor);
    if (!device)
        return;
    udev_device_unref(device);
    if (!soon.isActive())
        soon.start();
    later.start();
#endif
}
