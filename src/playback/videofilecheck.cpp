#include "playback/videofilecheck_p.h"

#include "image/capturesource_p.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QUrl>

namespace VideoFileCheck {

namespace {

QString text(const char *source)
{
    return QCoreApplication::translate("VideoPlayerWidget", source);
}

// Without the password of an address.
QString shownName(const QString &path)
{
    return CaptureSource::isNetworkAddress(path) ? QUrl(path).toDisplayString(QUrl::RemoveUserInfo)
                                                 : QDir::toNativeSeparators(path);
}

} // namespace

bool mayBeVideo(const QString &path)
{
    const QFileInfo file(path);
    return !file.exists() || file.isFile();
}

QString whyUnopened(const QString &path)
{
    const QFileInfo file(path);
    const char *reason = QT_TRANSLATE_NOOP("VideoPlayerWidget", "%1 is not a video that can be read.");
    if (path.isEmpty())
        reason = QT_TRANSLATE_NOOP("VideoPlayerWidget", "No video has been chosen.");
    else if (CaptureSource::isNetworkAddress(path))
        reason = QT_TRANSLATE_NOOP("VideoPlayerWidget", "%1 cannot be opened.");
    else if (!file.exists())
        reason = QT_TRANSLATE_NOOP("VideoPlayerWidget", "There is no file %1.");
    else if (!file.isFile())
        reason = QT_TRANSLATE_NOOP("VideoPlayerWidget", "%1 is not a file.");
    else if (!file.isReadable())
        reason = QT_TRANSLATE_NOOP("VideoPlayerWidget", "The file %1 may not be read.");
    else if (file.size() == 0)
        reason = QT_TRANSLATE_NOOP("VideoPlayerWidget", "The file %1 is empty.");
    return text(reason).replace(QStringLiteral("%1"), shownName(path));
}

QString whyUnreadable(const QString &path)
{
    return text(QT_TRANSLATE_NOOP("VideoPlayerWidget", "No picture can be read from %1."))
        .replace(QStringLiteral("%1"), shownName(path));
}

} // namespace VideoFileCheck
