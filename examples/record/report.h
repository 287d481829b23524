#pragma once

#include <QString>

class VideoRecorder;

/** Tells why the job failed and gives the program's exit code for it. */
int fail(const QString &reason);

/** Tells what the finished file at \a path and the recorder's account say; an exit code. */
int report(const QString &path, const VideoRecorder &recorder);
