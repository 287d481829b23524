#pragma once

#include "varnhold_export.h"

#include <QObject>

// Marks accessors of settings for moc, which keeps it as QMetaMethod::tag(). It stands in front of
// Q_INVOKABLE, since moc takes "PROPERTY_TAG int" for one type.
#if !defined(Q_MOC_RUN) && !defined(PROPERTY_TAG)
#define PROPERTY_TAG
#endif

class AbstractMetaDescriptor;

/** Is an object whose Qt properties are settings, with a description that an editor can be built from. */
class VARNHOLD_EXPORT AbstractSettings : public QObject
{
    Q_OBJECT

public:
    explicit AbstractSettings(QObject *parent = nullptr);
    ~AbstractSettings() override;

    /**
     * Describes the properties.
     *
     * \ownership The settings object's; valid as long as it lives.
     */
    virtual AbstractMetaDescriptor *metaDescriptor() = 0;
};
