#pragma once

#include "varnhold_export.h"

#include <QString>
#include <QStringList>

/**
 * Tells an editor which properties a settings object has and how to edit them.
 *
 * A property is steered by class-info entries whose key is the property's name with a suffix behind it:
 *
 *     Q_CLASSINFO("ExposureMinimum", "-12")
 *
 *     descriptor->info(QStringLiteral("Exposure"), QStringLiteral("Minimum")) // "-12"
 *
 * The suffixes in use are `Editable`, `Default`, `Minimum`, `Maximum`, `Step`, `NotVisible` and
 * `SpecialType`.
 */
class VARNHOLD_EXPORT AbstractMetaDescriptor
{
public:
    virtual ~AbstractMetaDescriptor();

    /** The names of the properties, those of the base class first, in the order of their declaration. */
    virtual QStringList propertyNames() const = 0;

    /** The name of the class that declares \a property; null if there is no such property. */
    virtual QString declaringClass(const QString &property) const = 0;

    /** The class-info value for \a property with \a suffix, the most derived one; null if there is none. */
    virtual QString info(const QString &property, const QString &suffix) const = 0;
};
