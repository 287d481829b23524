#include "recording/framelist.h"

#include "recording/framelistformat_p.h"

#include <QCoreApplication>
#include <QFile>

#include <algorithm>

namespace {

constexpr int maximumLineLength = 65536; // the name of a camera is all that could be long

struct Text
{
    Q_DECLARE_TR_FUNCTIONS(FrameList)
};

QString unquoted(QByteArray field)
{
    if (field.size() > 1 && field.startsWith('"') && field.endsWith('"'))
        field = field.mid(1, field.size() - 2).replace("\"\"", "\"");
    return QString::fromUtf8(field);
}

bool parse(const QByteArray &line, FrameList::Entry &entry)
{
    using namespace FrameListFormat;
    std::array<QByteArray, 5> fields;
    int from = 0;
    for (QByteArray &field : fields) {
        const int comma = line.indexOf(',', from);
        if (comma < 0)
            return false;
        field = line.mid(from, comma - from);
        from = comma + 1;
    }
    const auto *const source = std::find(sources.begin(), sources.end(), fields[2]);
    bool ok = !fields[0].isEmpty() && source != sources.end();
    // Empty fields give -1.
    const auto whole = [&ok](const QByteArray &field) {
        return field.isEmpty() || !ok ? qint64(-1) : field.toLongLong(&ok);
    };
    entry.frame = quint64(whole(fields[0]));
    entry.timeMs = fields[1].isEmpty() || !ok ? -1.0 : fields[1].toDouble(&ok);
    entry.stamp.timeUs = whole(fields[3]);
    entry.stamp.sequence = whole(fields[4]);
    entry.stamp.camera = unquoted(line.mid(from));
    if (ok)
        entry.source = FrameList::Source(source - sources.begin());
    return ok;
}

} // namespace

bool FrameList::open(const QString &path)
{
    list.clear();
    error.clear();
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        error = file.errorString();
        return false;
    }
    for (int number = 1; !file.atEnd(); ++number) {
        QByteArray line = file.readLine(maximumLineLength);
        if (!line.endsWith('\n') && file.atEnd() && number > 1)
            break;
        while (line.endsWith('\n') || line.endsWith('\r'))
            line.chop(1);
        Entry entry;
        if (number == 1 ? line != FrameListFormat::header : !parse(line, entry)) {
            error = number == 1 ? Text::tr("This is not a list of frames.")
                                : Text::tr("Line %1 is not valid in a list of frames.").arg(number);
            return false;
        }
        if (number > 1)
            list.append(entry);
    }
    if (file.size() == 0)
        error = Text::tr("This is not a list of frames.");
    return error.isEmpty();
}
