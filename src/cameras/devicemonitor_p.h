#pragma once

#include "vtcv_export.h"

#include <QObject>
#include <QTimer>

struct udev;
struct udev_monitor;

/**
 * Tells that devices may have come or gone, as the system reports it.
 *
 * A report is not the end of it: a plugged device comes in several parts, its rights are settled a little
 * later, and back ends remember for half a second what they have found. So changed() comes a moment after the
 * first report, and once more when it has been quiet for longer.
 *
 * \thread One with an event loop.
 */
class VTCV_TEST_EXPORT DeviceMonitor : public QObject
{
    Q_OBJECT

public:
    /** \param subsystem as the kernel calls it, such as "video4linux". */
    explicit DeviceMonitor(const char *subsystem, QObject *parent = nullptr);
    ~DeviceMonitor() override;

    /** True if the system reports at all. In a container, for one, there is often nobody who does. */
    bool isFed() const;

Q_SIGNALS:
    void changed();

private:
    void read();

    udev *context = nullptr; // owned, as the monitor; null where there is no udev
    udev_monitor *monitor = nullptr;
    QTimer soon;
    QTimer later;
};
