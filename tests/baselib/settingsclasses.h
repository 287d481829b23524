#pragma once

#include "baselib/vtsettings.h"

#include <QColor>
#include <QDateTime>
#include <QRect>
#include <QStringList>
#include <QUrl>
#include <QVariant>
#include <QVector>

// As a settings class of an application looks like.
class PanelSettings : public VTSettings
{
    Q_OBJECT
    Q_CLASSINFO("ZoomEditable", "true")
    Q_CLASSINFO("ZoomMinimum", "-12")
    Q_PROPERTY(int Zoom READ zoom WRITE setZoom RESET resetZoom NOTIFY changedZoom)
    Q_PROPERTY(QString Ip READ ip WRITE setIp NOTIFY changedIp)
    Q_PROPERTY(int Derived READ zoom)
    Q_PROPERTY(int Passing READ zoom WRITE setZoom STORED false)

public:
    using VTSettings::VTSettings;
    explicit PanelSettings(const QString &path) : VTSettings(path, true) { }

    int zoom() const { return m_zoom; }
    void setZoom(int value)
    {
        value = qBound(-12, value, 1000);
        if (m_zoom == value)
            return;
        m_zoom = value;
        Q_EMIT changedZoom(value);
        changedProperty(QStringLiteral("Zoom"));
    }
    void resetZoom() { setZoom(-6); }
    QString ip() const { return m_ip; }
    void setIp(const QString &value)
    {
        if (m_ip == value)
            return;
        m_ip = value;
        Q_EMIT changedIp(value);
        changedProperty(QStringLiteral("Ip"));
    }
    using VTSettings::changedProperty;

Q_SIGNALS:
    void changedZoom(int value);
    void changedIp(const QString &value);

private:
    int m_zoom = -6;
    QString m_ip;
};

// One property of each type, set by name.
class ValueSettings : public VTSettings
{
    Q_OBJECT
    Q_PROPERTY(bool Bool MEMBER b)
    Q_PROPERTY(int Int MEMBER i)
    Q_PROPERTY(uint UInt MEMBER u)
    Q_PROPERTY(qlonglong LongLong MEMBER l)
    Q_PROPERTY(double Double MEMBER d)
    Q_PROPERTY(float Float MEMBER f)
    Q_PROPERTY(QString String MEMBER string)
    Q_PROPERTY(QStringList Strings MEMBER strings)
    Q_PROPERTY(QColor Color MEMBER color)
    Q_PROPERTY(QPoint Point MEMBER point)
    Q_PROPERTY(QSize Size MEMBER size)
    Q_PROPERTY(QRect Rect MEMBER rect)
    Q_PROPERTY(QPointF PointF MEMBER pointF)
    Q_PROPERTY(QSizeF SizeF MEMBER sizeF)
    Q_PROPERTY(QRectF RectF MEMBER rectF)
    Q_PROPERTY(QDate Date MEMBER date)
    Q_PROPERTY(QTime Time MEMBER time)
    Q_PROPERTY(QDateTime DateTime MEMBER dateTime)
    Q_PROPERTY(QUrl Url MEMBER url)
    Q_PROPERTY(QByteArray Bytes MEMBER bytes)
    Q_PROPERTY(QVariantMap Map MEMBER map)
    Q_PROPERTY(QVariantList List MEMBER list)
    Q_PROPERTY(QVariant Any MEMBER any)
    Q_PROPERTY(QVector<double> Numbers MEMBER numbers)
    Q_PROPERTY(Rotation Turn MEMBER turn)
    Q_PROPERTY(Sides Border READ border WRITE setBorder)
    Q_PROPERTY(void *Pointer MEMBER pointer)

public:
    enum Rotation
    {
        Rotate0,
        Rotate90,
        Rotate180 = 7
    };
    Q_ENUM(Rotation)
    enum Side
    {
        Left = 1,
        Top = 2,
        Bottom = 4
    };
    Q_DECLARE_FLAGS(Sides, Side)
    Q_FLAG(Sides)

    explicit ValueSettings(const QString &path) : VTSettings(path, true) { }
    Sides border() const { return m_border; }
    void setBorder(Sides value) { m_border = value; }
    using VTSettings::changedProperty;

private:
    bool b = false;
    int i = 0;
    uint u = 0;
    qlonglong l = 0;
    double d = 0;
    float f = 0;
    QString string;
    QStringList strings;
    QColor color;
    QPoint point;
    QSize size;
    QRect rect;
    QPointF pointF;
    QSizeF sizeF;
    QRectF rectF;
    QDate date;
    QTime time;
    QDateTime dateTime;
    QUrl url;
    QByteArray bytes;
    QVariantMap map;
    QVariantList list;
    QVariant any;
    QVector<double> numbers;
    Rotation turn = Rotate0;
    Sides m_border;
    void *pointer = nullptr;
};
Q_DECLARE_METATYPE(QVector<double>)
