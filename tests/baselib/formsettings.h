#pragma once

#include "baselib/vtsettings.h"

#include <QColor>
#include <QSize>
#include <QString>

// Two classes with a property of each kind that a form has a field for.
class TurnSettings : public VTSettings
{
    Q_OBJECT
    Q_CLASSINFO("TurnEditable", "true")
    Q_CLASSINFO("TurnDefault", "TurnSettings::FrameTurn::Turn0")
    Q_CLASSINFO("HiddenEditable", "true")
    Q_CLASSINFO("HiddenNotVisible", "true")
    Q_PROPERTY(FrameTurn Turn MEMBER turn NOTIFY changedTurn)
    Q_PROPERTY(int Hidden MEMBER hidden)
    Q_PROPERTY(QString SerialNumber MEMBER serialNumber NOTIFY changedSerialNumber)

public:
    enum FrameTurn
    {
        Turn0 = 10, // numbers that are no rows of a combo box
        Turn90 = 20,
        Turn180 = 30,
        Half = 30
    };
    Q_ENUM(FrameTurn)

    using VTSettings::VTSettings;

    FrameTurn turn = Turn0;
    int hidden = 0;
    QString serialNumber = QStringLiteral("A-17");

Q_SIGNALS:
    void changedTurn();
    void changedSerialNumber();
};

class FormSettings : public TurnSettings
{
    Q_OBJECT
    Q_CLASSINFO("UseMaskEditable", "true")
    Q_CLASSINFO("UseMaskDefault", "true")
    Q_CLASSINFO("ExposureEditable", "true")
    Q_CLASSINFO("ExposureDefault", "-6")
    Q_CLASSINFO("ExposureMinimum", "-12")
    Q_CLASSINFO("ExposureMaximum", "0")
    Q_CLASSINFO("ExposureStep", "2")
    Q_CLASSINFO("CountEditable", "true")
    Q_CLASSINFO("GainEditable", "true")
    Q_CLASSINFO("GainDefault", "1.5")
    Q_CLASSINFO("GainStep", "0.25")
    Q_CLASSINFO("ShareEditable", "true")
    Q_CLASSINFO("EvenEditable", "true")
    Q_CLASSINFO("CommentEditable", "true")
    Q_CLASSINFO("CommentDefault", "")
    Q_CLASSINFO("TintEditable", "true")
    Q_CLASSINFO("InkEditable", "true")
    Q_CLASSINFO("InkSpecialType", "Color")
    Q_CLASSINFO("CascadeEditable", "true")
    Q_CLASSINFO("CascadeSpecialType", "file")
    Q_CLASSINFO("TargetEditable", "true")
    Q_CLASSINFO("TargetSpecialType", "folder")
    Q_CLASSINFO("PasswordEditable", "true")
    Q_CLASSINFO("PinEditable", "true")
    Q_CLASSINFO("PinSpecialType", "Password")
    Q_CLASSINFO("BorderEditable", "true")
    Q_CLASSINFO("BorderDefault", "Left|Top")
    Q_CLASSINFO("ExtentEditable", "true")
    Q_PROPERTY(bool UseMask MEMBER useMask NOTIFY changedUseMask)
    Q_PROPERTY(int Exposure READ getExposure WRITE setExposure RESET resetExposure NOTIFY changedExposure)
    Q_PROPERTY(uint Count MEMBER count NOTIFY changedCount)
    Q_PROPERTY(double Gain MEMBER gain NOTIFY changedGain)
    Q_PROPERTY(float Share MEMBER share NOTIFY changedShare)
    Q_PROPERTY(int Even READ getEven WRITE setEven) // without a signal
    Q_PROPERTY(QString Comment MEMBER comment NOTIFY changedText)
    Q_PROPERTY(QColor Tint MEMBER tint NOTIFY changedTint)
    Q_PROPERTY(QString Ink MEMBER ink NOTIFY changedText)
    Q_PROPERTY(QString Cascade MEMBER cascade NOTIFY changedText)
    Q_PROPERTY(QString Target MEMBER target NOTIFY changedText)
    Q_PROPERTY(QString Password MEMBER password NOTIFY changedText)
    Q_PROPERTY(QString Pin MEMBER pin NOTIFY changedText)
    Q_PROPERTY(Sides Border READ getBorder WRITE setBorder NOTIFY changedBorder)
    Q_PROPERTY(QSize Extent MEMBER extent)

public:
    enum Side
    {
        NoSide = 0,
        Left = 1,
        Top = 2,
        LeftAndTop = 3
    };
    Q_DECLARE_FLAGS(Sides, Side)
    Q_FLAG(Sides)

    using TurnSettings::TurnSettings;

    int getExposure() const { return exposure; }
    void setExposure(int value)
    {
        ++exposureCalls;
        value = qBound(-12, value, mostExposure);
        if (exposure == value)
            return;
        exposure = value;
        Q_EMIT changedExposure(value);
    }
    void resetExposure() { setExposure(-6); }
    int getEven() const { return even; }
    void setEven(int value) { even = value / 2 * 2; }
    Sides getBorder() const { return border; }
    void setBorder(Sides value)
    {
        if (border == value)
            return;
        border = value;
        Q_EMIT changedBorder();
    }

    bool useMask = true;
    int exposure = -6;
    int mostExposure = 0;
    int exposureCalls = 0;
    uint count = 7;
    double gain = 1.5;
    float share = 0.1F;
    int even = 4;
    QString comment;
    QColor tint = Qt::green;
    QString ink = QStringLiteral("black");
    QString cascade;
    QString target;
    QString password = QStringLiteral("secret");
    QString pin;
    Sides border = Sides(Left) | Top;
    QSize extent{4, 3};

Q_SIGNALS:
    void changedUseMask();
    void changedExposure(int value);
    void changedCount();
    void changedGain();
    void changedShare();
    void changedText();
    void changedTint();
    void changedBorder();
};
