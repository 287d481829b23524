#pragma once

#include <QStandardPaths>
#include <QString>

#include <initializer_list>

namespace programs {

/** "x is not installed" for the first of these programs that is not on the search path; empty if all are. */
inline QString whyMissing(std::initializer_list<const char *> names)
{
    for (const char *name : names) {
        if (QStandardPaths::findExecutable(QString::fromLatin1(name)).isEmpty())
            return QStringLiteral("%1 is not installed").arg(QString::fromLatin1(name));
    }
    return {};
}

} // namespace programs

/** Skips the rest of a test function, with the reason, where one of the programs is not there. */
#define SKIP_WITHOUT(...)                                                                                    \
    do {                                                                                                     \
        const QString missing = programs::whyMissing({__VA_ARGS__});                                         \
        if (!missing.isEmpty())                                                                              \
            QSKIP(qPrintable(missing));                                                                      \
    } while (false)
