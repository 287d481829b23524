#pragma once

#include <QProcess>
#include <QString>
#include <QStringList>

/**
 * An RTSP server on 127.0.0.1 that a test can freeze, kill and start again: vtcv-rtsp-server as a child.
 *
 * It serves frames::numbered() frames, see rtspserver_main.cpp for its options.
 */
class RtspServer
{
public:
    explicit RtspServer(const QStringList &options = {});
    ~RtspServer();

    /** False where the server was not built, for lack of GStreamer's library. */
    static bool isAvailable();

    /** Starts it, on the port that it had before; false if it does not listen within 10 s. */
    bool start();

    void kill();
    void freeze();
    void thaw();

    /** "127.0.0.1:PORT/stream" */
    QString location() const;

private:
    QProcess process;
    QStringList options;
    int port = 0;
};
