#pragma once

#include "vtcv_export.h"

#include <QString>

#include <functional>

/**
 * Finds out whether a network source is alive, without OpenCV.
 *
 * OpenCV holds a lock of the whole process while its FFmpeg back end opens a source. A host that accepts a
 * connection and then says nothing would so hold up every other camera, writer and player, again at each try.
 * So a host is asked on a socket of our own at first, and only one that answers is handed to OpenCV.
 */
namespace RtspKnock {

/** Where the connection to a network source goes. */
struct Target
{
    QString host; // empty if the address names none, or if its scheme does not use TCP
    int port = 0;
    QString request; // the address without login and password; empty if the host is not asked in RTSP

    bool operator==(const Target &other) const
    {
        return host == other.host && port == other.port && request == other.request;
    }
};

/** Takes \a url apart as FFmpeg does: up to the last '@' before the path it is login and password. */
VTCV_TEST_EXPORT Target targetOf(const QString &url);

/**
 * Connects to the host of \a url and, for RTSP, sends one OPTIONS request and waits for any RTSP answer (a
 * demand for a login is one). Other protocols over TCP are content with the connection. An address that names
 * no host, or that does not use TCP, is not knocked at and counts as answered.
 *
 * \param timeoutMs bound of it all except the host name's lookup, which the system bounds.
 * \param isWanted  asked every few milliseconds; the knock ends with false when it says false.
 *
 * \thread Any but the GUI thread: it blocks. A slow host name lookup is not interrupted, so the caller should
 *         be able to walk away.
 */
VTCV_TEST_EXPORT bool isAnswered(const QString &url, int timeoutMs, const std::function<bool()> &isWanted);

} // namespace RtspKnock
