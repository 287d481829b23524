#pragma once

#include "recording/recordingrecovery.h"

#include <QLockFile>

#include <memory>

/** Holds the lock file of a set while it is worked on. */
class SetLock
{
public:
    /** Takes it; \a reason tells why not. */
    SetLock(const RecordingRecovery::Set &set, QString &reason);

    explicit operator bool() const { return isOpen; }

    /** Deletes the set's files, the video last, and takes their paths out of \a set; false with a \a reason
     * if one stays. */
    bool removeFiles(RecordingRecovery::Set &set, QString &reason) const;

    /** The path that stands for the set's video where there is none. */
    static QString keyOf(const RecordingRecovery::Set &set)
    {
        return set.folder + set.name + QStringLiteral(".avi");
    }

private:
    std::unique_ptr<QLockFile> lock; // none on a full disk
    bool isOpen = false;
};

/** Reads the video and the log of a locked set. */
RecordingRecovery::Contents contentsOf(
    const RecordingRecovery::Set &set, const RecordingRecovery::Progress &progress, bool &isCancelled);
