#pragma once

#include "baselib/globalconsole.h"

/** Writes a console line with the present time. \thread Any. */
inline void writeConsole(const QString &text)
{
    GlobalConsole::writeLine(text, QDateTime::currentDateTime());
}
