#pragma once

#include "recording/recordingresult.h"

#include "vtcv_export.h"

#include <QObject>

/**
 * Tells companions what happens to the recordings of one recorder.
 *
 * \thread Signals come from the recorder's worker.
 * \ownership The recorder's.
 */
class VTCV_TEST_EXPORT RecordingNotifier : public QObject
{
    Q_OBJECT

Q_SIGNALS:
    /** A recording has ended: its own file is ready, or nothing more can be done for it. Comes again for a
     * held job that was released. */
    void ended(RecordingResult result);
};
