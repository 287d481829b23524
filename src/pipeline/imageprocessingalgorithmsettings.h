#pragma once

#include "baselib/vtsettings.h"
#include "vtcv_export.h"

/**
 * Keeps the settings of an image algorithm in a file; the base of an application's own.
 *
 * There is one property, Name. Subclasses add theirs in the same way: a setter that does nothing for an equal
 * value, stores, signals and calls changedProperty(). Each change is written at once; reload() reads the
 * file.
 *
 * \thread The object's own.
 */
class VTCV_EXPORT ImageProcessingAlgorithmSettings : public VTSettings
{
    Q_OBJECT
    Q_CLASSINFO("NameEditable", "true")
    Q_CLASSINFO("NameDefault", "\"test\"")
    Q_PROPERTY(QString Name READ getName WRITE setName RESET resetName NOTIFY changedName)

public:
    /** \param path of the file. Reads nothing; call reload(). */
    ImageProcessingAlgorithmSettings(QString path, QObject *parent);
    ~ImageProcessingAlgorithmSettings() override;

Q_SIGNALS:
    PROPERTY_TAG Q_SIGNAL void changedName(QString value);

public:
    PROPERTY_TAG Q_INVOKABLE void setName(QString value);
    PROPERTY_TAG Q_INVOKABLE QString getName() const;
    PROPERTY_TAG Q_INVOKABLE void resetName();

private:
    QString m_nameDefault; // "test"
    QString m_name;
};
