#pragma once

#include "varnhold_export.h"

#include <QObject>

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
