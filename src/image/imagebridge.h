#pragma once

#include "vtcv_export.h"

#include <QString>

#include <string>

/** The text's UTF-8 bytes, as OpenCV takes paths and names. */
VTCV_EXPORT std::string toOpenCvString(QString text);
