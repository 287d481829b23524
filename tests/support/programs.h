#pragma once

#include <QByteArray>
#include <QProcess>
#include <QStandardPaths>
#include <QString>
#include <QStringList>

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

/** All that a program writes; empty if it fails or takes longer than two minutes. */
inline QByteArray outputOf(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program, arguments);
    const bool done = process.waitForFinished(120'000) && process.exitCode() == 0;
    return done ? process.readAllStandardOutput() : QByteArray();
}

/** What ffprobe reports as \a field of each stream: "video audio". */
inline QByteArray streamsOf(const QString &path, const char *field = "codec_type")
{
    const QString entries = QStringLiteral("stream=") + QLatin1String(field);
    return outputOf("ffprobe", {"-v", "error", "-show_entries", entries, "-of", "csv=p=0", path})
        .simplified();
}

/** Changes a variable of the environment for the life of the object. */
class EnvironmentChange
{
public:
    EnvironmentChange(const char *name, const QByteArray &value) : name(name), former(qgetenv(name))
    {
        qputenv(name, value);
    }
    ~EnvironmentChange() { qputenv(name, former); }
    Q_DISABLE_COPY(EnvironmentChange)

private:
    const char *name;
    QByteArray former;
};

} // namespace programs

/** Skips the rest of a test function, with the reason, where one of the programs is not there. */
#define SKIP_WITHOUT(...)                                                                                    \
    do {                                                                                                     \
        const QString missing = programs::whyMissing({__VA_ARGS__});                                         \
        if (!missing.isEmpty())                                                                              \
            QSKIP(qPrintable(missing));                                                                      \
    } while (false)
