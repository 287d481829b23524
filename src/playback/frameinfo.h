#pragma once

#include "vtcv_export.h"

#include <QJsonObject>
#include <QList>
#include <QMap>
#include <QObject>
#include <QPoint>
#include <QRect>
#include <QString>
#include <QStringList>
#include <QVariant>

/**
 * Holds what is annotated on one frame of a video: named entries of six kinds, and the frame's number.
 *
 *     FrameInfo record(12);
 *     record.setComment(QStringLiteral("note"), QStringLiteral("ok"));
 *     record.setPercent(QStringLiteral("fill"), 40);
 *     record.toJsonString(); // {"comments":[{"note":"ok"}],"frame":12,"percents":[{"fill":40}]}
 *
 * A name is unique within its kind; the same name in two kinds means two entries. Every name is allowed, the
 * empty one too, and names are ordered as QString compares them. An entry, once set, can only be replaced.
 *
 * Each setter emits its typed signal and then somethingChanged(), also where the value is the one that was
 * there. Reading a name that is unknown gives the default of its kind and adds nothing.
 *
 * The JSON form has one array for each kind that has entries, with an object of a single key for each entry:
 * "comments", "values", "percents", "rects", "bools" and "points", and the number as "frame". Rectangles and
 * points are the texts of TextHelper. Numbers that are not finite cannot be written and come back as 0.
 *
 * \thread One object on one thread at a time; signals come on the caller's, inside the setter.
 */
class VTCV_EXPORT FrameInfo : public QObject
{
    Q_OBJECT

public:
    /** The kinds of entries; what a QVariant of the kind holds is behind each. */
    enum InfoDataType
    {
        Percent = 0, // int, not limited to 0..100
        Value = 1, // double
        Rect = 2, // QRect
        Comment = 3, // QString
        Bool = 4, // bool
        Points = 5, // QList<QPoint>
    };
    Q_ENUM(InfoDataType)

    /** Makes a record without entries. \param frame any number, negative ones too; it never changes. */
    explicit FrameInfo(int frame, QObject *parent = nullptr);

    /**
     * Reads the JSON form.
     *
     * Whatever does not fit is passed over or read as the default of its kind, without a message. A "frame"
     * that is missing or no whole number gives frame 0; of an object with several keys only the first counts;
     * a name that comes twice has its later value.
     */
    explicit FrameInfo(QJsonObject json, QObject *parent = nullptr);

    /** 0 if there is no such entry. */
    int getPercent(QString name);
    /** 0.0 if there is no such entry. */
    double getValue(QString name);
    /** The null rectangle if there is no such entry. */
    QRect getRect(QString name);
    /** An empty text if there is no such entry. */
    QString getComment(QString name) const;
    /** False if there is no such entry. */
    bool getBool(QString name);
    /** An empty list if there is no such entry. */
    QList<QPoint> getPoints(QString name);
    int getFrameNumber();

    void setPercent(QString name, int value);
    void setValue(QString name, double value);
    void setRect(QString name, QRect value);
    void setComment(QString name, QString value);
    void setBool(QString name, bool value);
    void setPoints(QString name, QList<QPoint> value);

    /**
     * Sets an entry of any kind, as the setter of the kind does.
     *
     * \param value is converted as QVariant does; what cannot be converted sets the default of the kind. For
     *              Points it holds a QList<QPoint>, a QPolygon or a list of points; anything else is ignored.
     */
    void set(InfoDataType type, QString name, QVariant value);

    /** The value of an entry of any kind, of the type that InfoDataType tells; invalid if there is none. */
    QVariant get(InfoDataType type, const QString &name) const;

    /** The names of a kind in ascending order. */
    QStringList getNames(InfoDataType type);

    /** Tells whether a kind has an entry of exactly this name. */
    bool contains(InfoDataType type, QString name);

    /** The number of entries of all kinds. */
    int count() const;

    /** Tells whether both have the same number and the same entries. */
    bool equals(const FrameInfo &other) const;

    QJsonObject toJson();

    /** toJson() as one line of text, without a line break. It is made once after each change. */
    QString toJsonString();

Q_SIGNALS:
    void percentChanged(int frame, QString name, int value);
    void valueChanged(int frame, QString name, double value);
    void rectChanged(int frame, QString name, QRect value);
    void commentChanged(int frame, QString name, QString value);
    void pointsChanged(int frame, QString name, QList<QPoint> value);
    void boolChanged(int frame, QString name, bool value);
    /** Follows the typed signal of each change. */
    void somethingChanged(int frame);

private:
    friend class AnnotationLine; // fills a record that it reads
    friend class FramedAnnotation; // must know of all changes, also while signals are blocked

    template <typename Type, typename Signal>
    void store(QMap<QString, Type> *entries, const QString &name, const Type &value, Signal changed);
    void changing();

    QMap<QString, int> percents;
    QMap<QString, double> values;
    QMap<QString, QRect> rects;
    QMap<QString, QString> comments;
    QMap<QString, QList<QPoint>> points;
    QMap<QString, bool> bools;
    int frameNumber;
    QString text; // toJsonString(); null where it must be made anew
    bool *changeMark = nullptr; // set by each change; its owner's, who takes it away in time
};
