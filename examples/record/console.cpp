#include "console.h"

#include <GlobalConsole>

#include <QDateTime>
#include <QMutex>
#include <QtGlobal>

#include <cstdio>

namespace {

// Never destroyed: threads of the library may write while the process ends.
struct Row
{
    QMutex mutex;
    int progressLength = 0; // of the progress text that stands in the last row; 0 if there is none
};

Row &row()
{
    static Row *const instance = new Row;
    return *instance;
}

void write(std::FILE *channel, const QByteArray &bytes)
{
    std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), channel);
    std::fflush(channel);
}

void writeLine(std::FILE *channel, const QString &text)
{
    Row &last = row();
    const QMutexLocker locker(&last.mutex);
    if (last.progressLength > 0)
        write(stderr, "\n");
    last.progressLength = 0;
    write(channel, text.toLocal8Bit() + '\n');
}

void takeMessage(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    Console::line(qFormatLogMessage(type, context, text));
}

} // namespace

void Console::install()
{
    qInstallMessageHandler(takeMessage);
    GlobalConsole::setSink([](const QString &text, const QDateTime &) { line(text); });
}

void Console::progress(const QString &text)
{
    Row &last = row();
    const QMutexLocker locker(&last.mutex);
    // Blanks cover the rest of a longer text before.
    write(stderr, '\r' + text.leftJustified(last.progressLength).toLocal8Bit());
    last.progressLength = text.size();
}

void Console::line(const QString &text)
{
    writeLine(stderr, text);
}

void Console::result(const QString &text)
{
    writeLine(stdout, text);
}

void Console::fault(const QString &reason)
{
    line(QStringLiteral("vt-record: ") + reason);
}
