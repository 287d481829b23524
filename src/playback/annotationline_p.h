#pragma once

#include "vtcv_export.h"

#include <QByteArray>
#include <QJsonObject>

#include <memory>

class FrameInfo;

/** Reads single lines of an annotation file. \thread Any. */
class VTCV_TEST_EXPORT AnnotationLine
{
public:
    AnnotationLine() = delete;

    /**
     * Reads a line that is, byte for byte, the text that a record of its content has.
     *
     * It takes a fraction of the time of a general parser, and the record need not make its text anew for the
     * next save. Lines with anything unusual (escapes, numbers in other forms, other orders) are left to the
     * general way.
     *
     * \return null unless the line is provably such a text.
     */
    static std::unique_ptr<FrameInfo> readPlain(const QByteArray &line);

    /** Tells whether \a json has a frame number of its own. */
    static bool hasNumber(const QJsonObject &json);

    /** Tells whether a FrameInfo that is made from \a json holds all that stands in it. */
    static bool holdsAll(const QJsonObject &json);
};
