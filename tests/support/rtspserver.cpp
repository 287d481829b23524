#include "support/rtspserver.h"

#include <QElapsedTimer>

#include <csignal>

RtspServer::RtspServer(const QStringList &options) : options(options)
{
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
}

RtspServer::~RtspServer()
{
    kill();
}

bool RtspServer::isAvailable()
{
    return !QLatin1String(VTCV_RTSP_SERVER).isEmpty();
}

bool RtspServer::start()
{
    process.start(QLatin1String(VTCV_RTSP_SERVER),
        options + QStringList{QStringLiteral("--port"), QString::number(port)});
    while (!process.canReadLine()) {
        if (!process.waitForReadyRead(10000))
            return false;
    }
    port = process.readLine().trimmed().split(' ').value(1).toInt();
    return port > 0;
}

void RtspServer::kill()
{
    process.kill();
    process.waitForFinished();
}

// Only where the server is built are there signals.
void RtspServer::freeze()
{
#ifdef Q_OS_UNIX
    ::kill(static_cast<pid_t>(process.processId()), SIGSTOP);
#endif
}

void RtspServer::thaw()
{
#ifdef Q_OS_UNIX
    ::kill(static_cast<pid_t>(process.processId()), SIGCONT);
#endif
}

QString RtspServer::location() const
{
    return QStringLiteral("127.0.0.1:%1/stream").arg(port);
}
