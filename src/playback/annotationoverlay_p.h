#pragma once

#include "playback/annotationgeometry_p.h"
#include "playback/annotationoverlay.h"

/** What the overlay shows of one frame, with the places that painting it touches. */
struct AnnotationOverlay::Shown
{
    struct Line
    {
        QString text;
        QColor color;

        bool operator==(const Line &other) const { return text == other.text && color == other.color; }
    };

    PictureMap map;
    QVector<AnnotationItem> items; // those to be seen
    QVector<QRect> places; // one for each item, with its label and its handles
    QVector<Line> lines;
    QRect linesPlace;

    /** What has to be painted anew when \a next takes the place of this. */
    QRegion differenceTo(const Shown &next) const;
};

/** A press that goes on: the item as it would be if the button were released now. */
struct AnnotationOverlay::Drag
{
    AnnotationItem item;
    QRect original; // of the item before
    Qt::Edges edges; // that move; none while a rectangle is being drawn
    QPointF start; // in the widget
    bool isNew = false;
    bool hasMoved = false; // far enough for no mere press
};
