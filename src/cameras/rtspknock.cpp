#include "cameras/rtspknock_p.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QHostAddress>
#include <QHostInfo>
#include <QNetworkProxy>
#include <QTcpSocket>
#include <QTimer>

#include <algorithm>
#include <iterator>
#include <memory>
#include <vector>

namespace RtspKnock {

namespace {

constexpr int lookUpMs = 20;

struct Scheme
{
    const char *name;
    int port;
    bool isRtsp;
};

// Those of FFmpeg's protocols that start with a TCP connection. RTSP inside TLS shows nothing to ask for.
constexpr Scheme schemes[] = {{"rtsp", 554, true}, {"rtsps", 322, false}, {"http", 80, false},
    {"https", 443, false}, {"rtmp", 1935, false}, {"ftp", 21, false}, {"tcp", 0, false}};

// The lookup blocks. Only a name is looked up: for a plain address Qt would ask the name server for its name.
QList<QHostAddress> addressesOf(const QString &host)
{
    QHostAddress address;
    if (address.setAddress(host))
        return {address};
    return QHostInfo::fromName(host).addresses();
}

QByteArray optionsRequest(const Target &target)
{
    return "OPTIONS " + target.request.toUtf8()
        + " RTSP/1.0\r\nCSeq: 1\r\nUser-Agent: VarnholdToolkit.CV\r\n\r\n";
}

// One attempt for each address at once, as FFmpeg does it: the first that answers decides.
class Knock
{
public:
    explicit Knock(const Target &target) : target(target) { }

    bool run(const QList<QHostAddress> &addresses, int timeoutMs, const std::function<bool()> &isWanted)
    {
        pending = addresses.size();
        for (const QHostAddress &address : addresses)
            start(address);
        QTimer clock;
        QObject::connect(&clock, &QTimer::timeout, &events, [&] {
            if (!isWanted())
                events.quit();
        });
        clock.start(lookUpMs);
        QTimer::singleShot(timeoutMs, Qt::PreciseTimer, &events, [this] { events.quit(); });
        if (pending > 0 && !answered)
            events.exec();
        return answered;
    }

private:
    void start(const QHostAddress &address)
    {
        sockets.push_back(std::make_unique<QTcpSocket>());
        QTcpSocket *socket = sockets.back().get();
        // FFmpeg connects directly, whatever proxy the application has.
        socket->setProxy(QNetworkProxy::NoProxy);
        QObject::connect(socket, &QTcpSocket::connected, &events, [this, socket] {
            if (target.request.isEmpty())
                end(socket, true);
            else
                socket->write(optionsRequest(target));
        });
        QObject::connect(socket, &QTcpSocket::readyRead, &events, [this, socket] {
            const QByteArray start = socket->peek(5);
            if (start.size() == 5)
                end(socket, start == "RTSP/");
        });
        QObject::connect(socket, &QTcpSocket::errorOccurred, &events, [this, socket] { end(socket, false); });
        socket->connectToHost(address, static_cast<quint16>(target.port));
    }

    void end(QTcpSocket *socket, bool isAnswer)
    {
        QObject::disconnect(socket, nullptr, &events, nullptr);
        // Bytes that nobody read would turn the closing into a reset of the connection.
        socket->readAll();
        socket->close();
        answered = answered || isAnswer;
        --pending;
        if (answered || pending <= 0)
            events.quit();
    }

    const Target &target;
    QEventLoop events;
    std::vector<std::unique_ptr<QTcpSocket>> sockets;
    int pending = 0;
    bool answered = false;
};

} // namespace

Target targetOf(const QString &url)
{
    const int schemeEnd = url.indexOf(QLatin1String("://"));
    if (schemeEnd < 0)
        return {};
    const QString scheme = url.left(schemeEnd).toLower();
    const auto known = std::find_if(std::begin(schemes), std::end(schemes),
        [&](const Scheme &candidate) { return scheme == QLatin1String(candidate.name); });
    if (known == std::end(schemes))
        return {};

    const QString rest = url.mid(schemeEnd + 3);
    const auto endsAuthority = [](QChar c) {
        return c == QLatin1Char('/') || c == QLatin1Char('?') || c == QLatin1Char('#');
    };
    const int pathStart = int(std::find_if(rest.begin(), rest.end(), endsAuthority) - rest.begin());
    const QString hostAndPort = rest.left(pathStart).section(QLatin1Char('@'), -1);

    Target target;
    target.port = known->port;
    if (known->isRtsp)
        target.request = url.left(schemeEnd + 3) + hostAndPort + rest.mid(pathStart);
    QString port;
    if (hostAndPort.startsWith(QLatin1Char('['))) {
        target.host = hostAndPort.mid(1).section(QLatin1Char(']'), 0, 0);
        port = hostAndPort.section(QLatin1Char(']'), 1).section(QLatin1Char(':'), 1);
    } else {
        target.host = hostAndPort.section(QLatin1Char(':'), 0, 0);
        port = hostAndPort.section(QLatin1Char(':'), 1);
    }
    if (!port.isEmpty())
        target.port = port.toInt();
    return target;
}

bool isAnswered(const QString &url, int timeoutMs, const std::function<bool()> &isWanted)
{
    const Target target = targetOf(url);
    // Without an application object there are no events that could tell of an answer.
    if (target.host.isEmpty() || !QCoreApplication::instance())
        return true;
    const QList<QHostAddress> addresses = addressesOf(target.host);
    if (!isWanted())
        return false;
    return Knock(target).run(addresses, timeoutMs, isWanted);
}

} // namespace RtspKnock
