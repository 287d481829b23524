#include "image/imagebridge.h"
#include <VTThread>

int main()
{
    VTThread worker;
    const bool works = !worker.isWorking() && toOpenCvString(QStringLiteral("frame")) == "frame";
    return works ? 0 : 1;
}
