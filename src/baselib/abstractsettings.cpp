#include "baselib/abstractsettings.h"

AbstractSettings::AbstractSettings(QObject *parent) : QObject(parent) { }

AbstractSettings::~AbstractSettings() = default;
