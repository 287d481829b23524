#include "playback/videoplayercontroller.h"

#include "baselib/texthelper.h"
#include "playback/playerprogress_p.h"
#include "playback/videoplayerwidget.h"

#include <QAbstractButton>
#include <QAbstractSlider>
#include <QFileInfo>
#include <QFutureWatcher>
#include <QImageWriter>
#include <QKeyEvent>
#include <QLabel>
#include <QLocale>
#include <QSaveFile>
#include <QtConcurrentRun>

#include <cmath>
#include <limits>

namespace {

constexpr int giveUpMs = 1000; // after which a frame that was asked for does not come any more

QString clockText(qint64 ms)
{
    return TextHelper::TimeToText(double(ms) / 1000, true);
}

// Why the picture could not be written; empty if it was.
QString writePicture(const QImage &picture, const QString &path)
{
    const QByteArray format = QFileInfo(path).suffix().toLower().toLatin1();
    if (!QImageWriter::supportedImageFormats().contains(format)) {
        return VideoPlayerController::tr("Cannot save \"%1\": there is no picture format \"%2\".")
            .arg(path, QString::fromLatin1(format));
    }
    QSaveFile file(path);
    QString reason;
    if (file.open(QIODevice::WriteOnly)) {
        QImageWriter writer(&file, format);
        if (!writer.write(picture))
            reason = writer.errorString();
        // What still lies in the buffer may not fit on the disk, and commit() would not tell.
        if (reason.isEmpty() && file.flush() && file.commit())
            return {};
        file.cancelWriting();
    }
    return VideoPlayerController::tr("Cannot save \"%1\": %2")
        .arg(path, reason.isEmpty() ? file.errorString() : reason);
}

} // namespace

VideoPlayerController::VideoPlayerController(VideoPlayerWidget *player, QObject *parent) : QObject(parent)
{
    setPlayer(player);
}

VideoPlayerController::~VideoPlayerController()
{
    for (QFutureWatcherBase *writing : findChildren<QFutureWatcherBase *>())
        writing->waitForFinished();
}

VideoPlayerWidget *VideoPlayerController::getPlayer() const
{
    return player;
}

void VideoPlayerController::setPlayer(VideoPlayerWidget *newPlayer)
{
    if (newPlayer == player)
        return;
    if (player) {
        watchKeys(false);
        player->disconnect(this);
        player->progress->disconnect(this);
    }
    player = newPlayer;
    captureTime = nullptr;
    captureBegin = {};
    wanted = -1;
    if (player) {
        if (player->focusPolicy() == Qt::NoFocus)
            player->setFocusPolicy(Qt::StrongFocus);
        watchKeys(true);
        connect(player->progress, &PlayerProgress::shown, this, &VideoPlayerController::frameShown);
        connect(
            player->progress, &PlayerProgress::playingChanged, this, &VideoPlayerController::playingChanged);
        connect(player, &QObject::destroyed, this, [this] {
            player.clear();
            announceAll();
        });
    }
    announceAll();
}

void VideoPlayerController::announceAll()
{
    Q_EMIT playerChanged();
    Q_EMIT positionChanged(getPosition());
    Q_EMIT playingChanged(isPlaying());
    Q_EMIT textChanged(getText());
}

int VideoPlayerController::getCount() const
{
    return player ? player->getFrameCount() : 0;
}

double VideoPlayerController::getFrameRate() const
{
    return player ? player->getFrameRate() : 0;
}

int VideoPlayerController::getPosition() const
{
    return player ? player->getPosition() : -1;
}

bool VideoPlayerController::isPlaying() const
{
    return player && player->isPlaying();
}

qint64 VideoPlayerController::timeOf(int frame) const
{
    const double rate = getFrameRate();
    return rate > 0 ? std::llround(frame * 1000.0 / rate) : 0;
}

int VideoPlayerController::frameAt(qint64 timeMs) const
{
    // Half a millisecond more, because timeOf() rounds and has to lead back to its frame.
    const double frame = std::floor((double(timeMs) + 0.5) * getFrameRate() / 1000 + 1e-6);
    return int(qBound(0.0, frame, double(lastFrame())));
}

// Of a file that does not know its length, any frame may be asked for.
int VideoPlayerController::lastFrame() const
{
    return getCount() > 0 ? getCount() - 1 : std::numeric_limits<int>::max();
}

void VideoPlayerController::setCaptureTimes(std::function<qint64(int)> timeOf, const QDateTime &begin)
{
    captureTime = std::move(timeOf);
    captureBegin = begin;
    Q_EMIT textChanged(getText());
}

qint64 VideoPlayerController::captureTimeOf(int frame) const
{
    return captureTime ? qMax(qint64(-1), captureTime(frame)) : -1;
}

QString VideoPlayerController::getText() const
{
    const int frame = getPosition();
    if (frame < 0)
        return {};
    QStringList parts;
    const bool isRateKnown = getFrameRate() > 0;
    if (getCount() > 0) {
        if (isRateKnown)
            parts << QStringLiteral("%1 / %2").arg(clockText(timeOf(frame)), clockText(timeOf(lastFrame())));
        parts << tr("Frame %1 / %2").arg(frame).arg(lastFrame());
    } else {
        if (isRateKnown)
            parts << clockText(timeOf(frame));
        parts << tr("Frame %1").arg(frame);
    }
    const qint64 captureMs = captureTimeOf(frame);
    if (captureMs >= 0) {
        parts << tr("Captured %1")
                     .arg(captureBegin.isValid() ? captureBegin.addMSecs(captureMs).toString(
                              QStringLiteral("yyyy-MM-dd HH:mm:ss.zzz"))
                                                 : clockText(captureMs));
    }
    return parts.join(QStringLiteral("   "));
}

QLabel *VideoPlayerController::createLabel(QWidget *parent)
{
    auto *const label = new QLabel(getText(), parent);
    label->setTextFormat(Qt::PlainText);
    label->setAccessibleName(tr("Position in the video"));
    connect(this, &VideoPlayerController::textChanged, label, &QLabel::setText);
    return label;
}

void VideoPlayerController::saveSnapshot(const QString &path)
{
    const QImage picture = player ? player->getImage() : QImage();
    if (picture.isNull()) {
        Q_EMIT errorOccurred(tr("There is no picture to save."));
        return;
    }
    auto *const writing = new QFutureWatcher<QString>(this);
    connect(writing, &QFutureWatcherBase::finished, this, [this, writing, path] {
        const QString reason = writing->result();
        writing->deleteLater();
        if (reason.isEmpty())
            Q_EMIT snapshotSaved(path);
        else
            Q_EMIT errorOccurred(reason);
    });
    writing->setFuture(QtConcurrent::run(writePicture, picture, path));
}

void VideoPlayerController::setPlaying(bool plays)
{
    if (player)
        player->setPlaying(plays);
}

void VideoPlayerController::play()
{
    setPlaying(true);
}

void VideoPlayerController::pause()
{
    setPlaying(false);
}

void VideoPlayerController::togglePlaying()
{
    setPlaying(!isPlaying());
}

void VideoPlayerController::seek(int frame)
{
    if (!player)
        return;
    wanted = qBound(0, frame, lastFrame());
    sinceWanted.start();
    player->setPosition(wanted);
}

void VideoPlayerController::step(int frames)
{
    pause();
    move(frames);
}

void VideoPlayerController::move(int frames)
{
    seek(int(qBound(0.0, double(wantedPosition()) + frames, double(lastFrame()))));
}

void VideoPlayerController::jump(qint64 timeMs)
{
    seek(frameAt(timeMs));
}

// Where the player stands once it has done what was asked for.
int VideoPlayerController::wantedPosition() const
{
    return wanted >= 0 && !sinceWanted.hasExpired(giveUpMs) ? wanted : qMax(0, getPosition());
}

void VideoPlayerController::frameShown(int frame)
{
    if (frame == wanted)
        wanted = -1;
    const QPointer<VideoPlayerController> self = this; // who listens may delete it
    Q_EMIT positionChanged(frame);
    if (self)
        Q_EMIT textChanged(getText());
}

// The button would make the arrows move the focus, and a scroll bar goes the other way with left and right.
void VideoPlayerController::watchKeys(bool isWatched)
{
    QList<QObject *> watched{player};
    for (QAbstractButton *button : player->findChildren<QAbstractButton *>())
        watched << button;
    for (QAbstractSlider *slider : player->findChildren<QAbstractSlider *>())
        watched << slider;
    for (QObject *object : qAsConst(watched)) {
        object->removeEventFilter(this);
        if (isWatched)
            object->installEventFilter(this);
    }
}

bool VideoPlayerController::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::KeyPress && player
        && handleKey(static_cast<QKeyEvent *>(event), qobject_cast<QAbstractButton *>(watched))) {
        event->accept();
        return true;
    }
    return QObject::eventFilter(watched, event);
}

bool VideoPlayerController::handleKey(const QKeyEvent *event, bool isOnButton)
{
    if (event->modifiers() & ~Qt::KeypadModifier)
        return false;
    // A second; a tenth where the rate is unknown.
    const int page = int(qBound(1.0, getFrameRate() > 0 ? getFrameRate() : getCount() / 10.0, 1000.0));
    switch (event->key()) {
    case Qt::Key_Space:
        if (isOnButton)
            return false;
        if (!event->isAutoRepeat())
            togglePlaying();
        return true;
    case Qt::Key_Left:
        step(-1);
        return true;
    case Qt::Key_Right:
        step(1);
        return true;
    case Qt::Key_PageUp:
        move(-page);
        return true;
    case Qt::Key_PageDown:
        move(page);
        return true;
    case Qt::Key_Home:
        seek(0);
        return true;
    case Qt::Key_End:
        if (getCount() > 0)
            seek(lastFrame());
        return true;
    default:
        return false;
    }
}
