#pragma once

#include "varnhold_export.h"

#include <QObject>
#include <QVector>

/**
 * Collects connections that have to end together, at the latest with the helper.
 *
 *     connections << connect(camera, &Camera::frameChanged, this, &Panel::showFrame);
 *     connections << connect(camera, &Camera::isRunningChanged, this, &Panel::showState);
 *     ...
 *     connections.clear(); // another camera takes its place
 *
 * \thread One at a time. As ever with Qt, a call that another thread has begun when its connection ends may
 * still be under way.
 */
class VARNHOLD_EXPORT ConnectionHelper
{
public:
    ConnectionHelper() = default;
    ~ConnectionHelper();
    ConnectionHelper(ConnectionHelper &&other) noexcept;
    ConnectionHelper &operator=(ConnectionHelper &&other) noexcept;
    ConnectionHelper(const ConnectionHelper &) = delete;
    ConnectionHelper &operator=(const ConnectionHelper &) = delete;

    /** Takes \a connection into the collection; one that failed to connect does no harm. */
    ConnectionHelper &operator<<(const QMetaObject::Connection &connection);

    /** Disconnects what was collected. A connection whose sender or receiver is gone is skipped. */
    void clear();

private:
    QVector<QMetaObject::Connection> connections;
};
