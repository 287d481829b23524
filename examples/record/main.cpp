// Records one source into a finished video, without a window: camera, recorder and ffmpeg queue, wired by
// signals.

#include "checks.h"
#include "console.h"
#include "interrupts.h"
#include "options.h"
#include "recover.h"
#include "session.h"

#include <QCoreApplication>
#include <QDir>
#include <QLoggingCategory>
#include <QTemporaryDir>

namespace {

int run(Options options)
{
    QTemporaryDir scratch;
    if (options.source.isEmpty())
        options.source = defaultSource(scratch.path());
    const QString problem =
        options.source.isEmpty() ? QStringLiteral("there is no source") : problemWith(options);
    if (problem.isEmpty())
        return record(options);
    Console::fault(problem);
    return 1;
}

} // namespace

int main(int argc, char **argv)
{
    Interrupts::watch();
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("vt-record"));
    QCoreApplication::setApplicationVersion(QStringLiteral("1"));
    if (!qEnvironmentVariableIsSet("QT_LOGGING_RULES"))
        QLoggingCategory::setFilterRules(QStringLiteral("*.debug=false"));

    const Options options = parseOptions();
    Console::install();
    const int result = options.recovers ? recover(options) : run(options);
    if (options.tempIsOwn)
        QDir().rmdir(options.temp); // unless a recording lies in it
    return result;
}
