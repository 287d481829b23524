#include "image/imagebridge.h"

std::string toOpenCvString(QString text)
{
    return text.toStdString();
}
