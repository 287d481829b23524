#pragma once

#include "varnhold_export.h"

#include <QDateTime>
#include <QString>

#include <functional>

/**
 * Takes the lines that a user may read, from every thread.
 *
 * By default a line goes into Qt's message log, as information of the category "varnhold.console". The log
 * stamps its lines itself (see qSetMessagePattern()), so only the text is handed to it. A host can put a sink
 * of its own in place:
 *
 *     GlobalConsole::setSink([view](const QString &text, const QDateTime &time) {
 *         QMetaObject::invokeMethod(view, [=] { view->append(time, text); }, Qt::QueuedConnection);
 *     });
 *
 * All of this works before main() and until the last thread of the process is gone.
 */
class VARNHOLD_EXPORT GlobalConsole
{
public:
    /** Receives one line. It runs on the thread that wrote the line, one call at a time. */
    using Sink = std::function<void(const QString &text, const QDateTime &time)>;

    GlobalConsole() = delete;

    /**
     * Writes one line.
     *
     * \param time when it happened, usually QDateTime::currentDateTime().
     *
     * A line that a sink writes while it runs goes into Qt's message log, so a sink cannot call itself
     * without end.
     *
     * \thread Any. Waits while another thread is in the sink.
     */
    static void writeLine(const QString &text, const QDateTime &time);

    /**
     * Puts \a sink in place of the one before; an empty one brings Qt's message log back.
     *
     * When this returns, the former sink is not running and is never called again, so what it refers to may
     * be destroyed. (Called from within the sink, its own call under way is the one exception.) For that
     * reason a sink must not wait for another thread: that thread may be waiting here.
     *
     * \thread Any.
     */
    static void setSink(Sink sink);

    /**
     * Lets local cameras leave out all that only viewers need: with true they hand frames to their consumers
     * and tell no viewer. False at start. Set it before cameras run; it is no atomic.
     */
    static bool FullOptimization;
};
