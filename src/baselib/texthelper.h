#pragma once

#include "varnhold_export.h"

#include <QDateTime>
#include <QJsonDocument>
#include <QJsonObject>
#include <QList>
#include <QPoint>
#include <QRect>
#include <QString>

/** Makes texts for display, file names and JSON, the same in every locale. \thread Any. */
class VARNHOLD_EXPORT TextHelper
{
public:
    TextHelper() = delete;

    /**
     * A span of time as on a clock: "01:05", from an hour on "1:01:05", with milliseconds "01:05.250".
     *
     * It is rounded to milliseconds, and to whole seconds downwards as running clocks are. Negative ones have
     * a minus sign; a number that is not finite gives "--:--".
     */
    static QString TimeToText(double seconds, bool showMilliseconds);

    /**
     * \a time as a part of a file name that every system takes and that sorts by time:
     * "2026-11-24_15-05-09", with milliseconds "2026-11-24_15-05-09-250".
     *
     * \param time an invalid one stands for now. Two calls within one millisecond can give the same text.
     */
    static QString DateTimeFileString(const QDateTime &time, bool milliseconds);

    /** \a object as JSON text. QJsonDocument::Compact has no line breaks, at the end neither. */
    static QString toJsonString(const QJsonObject &object, QJsonDocument::JsonFormat format);

    /** \a rect as "x,y,width,height". */
    static QString QRectToString(const QRect &rect);

    /**
     * The rectangle that QRectToString() wrote, exactly; blanks beside the numbers do no harm.
     *
     * \param ok if given, tells whether \a text is a rectangle.
     * \return the null QRect for any other text.
     */
    static QRect QRectFromString(const QString &text, bool *ok = nullptr);

    /** \a points as "x,y;x,y"; an empty text for no points. */
    static QString QListPointsToString(const QList<QPoint> &points);

    /**
     * The points that QListPointsToString() wrote, exactly; blanks beside the numbers do no harm.
     *
     * \param ok if given, tells whether \a text is a list of points; an empty one is.
     * \return an empty list for any other text.
     */
    static QList<QPoint> QListPointsFromString(const QString &text, bool *ok = nullptr);
};
