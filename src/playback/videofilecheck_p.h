#pragma once

#include <QString>

/** Tells what can be a video, and users why one cannot be shown. */
namespace VideoFileCheck {

/** False for folders, pipes and devices, some of which would block whoever opens them. */
bool mayBeVideo(const QString &path);

/** Why the back end has not opened \a path. */
QString whyUnopened(const QString &path);

/** For a file that opens, and gives no picture. */
QString whyUnreadable(const QString &path);

} // namespace VideoFileCheck
