#include "baselib/settingsfile_p.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMutex>
#include <QTemporaryFile>
#include <QXmlStreamReader>

#include <array>
#include <filesystem>

#ifdef Q_OS_UNIX
#include <cerrno>
#include <unistd.h>
#endif

namespace {

constexpr qint64 maxBytes = 16'777'216;
constexpr int maxDepth = 100;
constexpr int maxAttributes = 100;
constexpr int maxLinks = 40;
constexpr int maxCopies = 1000;

struct Text
{
    Q_DECLARE_TR_FUNCTIONS(VTSettings)
};

std::filesystem::path native(const QString &path)
{
#ifdef Q_OS_WIN
    return path.toStdWString();
#else
    return QFile::encodeName(path).constData();
#endif
}

void restrictToOwner(const QString &path)
{
#ifdef Q_OS_UNIX
    constexpr QFile::Permissions others = QFile::ReadGroup | QFile::WriteGroup | QFile::ExeGroup
        | QFile::ReadOther | QFile::WriteOther | QFile::ExeOther;
    const QFile::Permissions permissions = QFile::permissions(path);
    if (permissions & others)
        QFile::setPermissions(path, permissions & ~others);
#else
    Q_UNUSED(path)
#endif
}

bool syncToDisk(const QFile &file)
{
#ifdef Q_OS_UNIX
    // Some file systems do not offer it, which is no failure of ours.
    return ::fsync(file.handle()) == 0 || errno == EINVAL || errno == ENOTSUP;
#else
    Q_UNUSED(file)
    return true;
#endif
}

// Looks at the bare markup for what would cost a parser time or memory beyond the size of the file: document
// types, whose entities multiply, and very many attributes, each of which is compared with all the others.
QString costlyMarkup(const QByteArray &bytes)
{
    if (bytes.contains('\0'))
        return Text::tr("its encoding is not supported");
    for (int at = bytes.indexOf('<'); at >= 0; at = bytes.indexOf('<', at)) {
        const auto startsWith = [&](const char *text) {
            return qstrncmp(&bytes.constData()[at], text, qstrlen(text)) == 0;
        };
        const auto skip = [&](const char *begin, const char *end) {
            if (!startsWith(begin))
                return false;
            const int found = bytes.indexOf(end, at + int(qstrlen(begin)));
            at = found < 0 ? bytes.size() : found;
            return true;
        };
        if (skip("<!--", "-->") || skip("<![CDATA[", "]]>") || skip("<?", "?>"))
            continue;
        if (startsWith("<!"))
            return Text::tr("it has a document type");
        int attributes = 0;
        char quote = 0;
        for (; at < bytes.size() && (quote || bytes[at] != '>'); ++at) {
            const char c = bytes[at];
            if (quote)
                quote = c == quote ? 0 : quote;
            else if (c == '"' || c == '\'')
                quote = c;
            else if (c == '=' && ++attributes > maxAttributes)
                return Text::tr("an element has too many attributes");
        }
    }
    return {};
}

// Why the document is not a settings file; null if it is one.
QString faultOf(const QByteArray &bytes)
{
    QString fault = costlyMarkup(bytes);
    if (!fault.isNull())
        return fault;
    QXmlStreamReader xml(bytes);
    xml.setNamespaceProcessing(false);
    int depth = 0;
    while (!xml.atEnd()) {
        switch (xml.readNext()) {
        case QXmlStreamReader::StartElement:
            if (depth == 0 && xml.qualifiedName() != QLatin1String(SettingsFile::rootElement))
                return Text::tr("its document element is not \"%1\"")
                    .arg(QLatin1String(SettingsFile::rootElement));
            if (++depth > maxDepth)
                return Text::tr("it is nested too deep");
            break;
        case QXmlStreamReader::EndElement:
            --depth;
            break;
        default:
            break;
        }
    }
    return xml.hasError() ? Text::tr("line %1: %2").arg(xml.lineNumber()).arg(xml.errorString()) : QString();
}

// Gives the path of a complete file with the content, or nothing.
QString writeTemporary(const QString &folder, const QByteArray &bytes, QString *reason)
{
    // Unlike QSaveFile it is closed to others from its first moment on, and a name of its own leaves the file
    // all the length that the file system grants.
    QTemporaryFile file(folder + QLatin1String("/settings.XXXXXX"));
    // Small content waits in a buffer, so only the flush tells whether the disk has taken it.
    if (!file.open() || file.write(bytes) != bytes.size() || !file.flush() || !syncToDisk(file)) {
        *reason = file.error() != QFile::NoError ? file.errorString() : Text::tr("it cannot be stored");
        return {};
    }
    file.setAutoRemove(false);
    return file.fileName();
}

bool sameContent(const QString &path, const QString &other)
{
    QFile first(path);
    QFile second(other);
    if (!first.open(QFile::ReadOnly) || !second.open(QFile::ReadOnly) || first.size() != second.size())
        return false;
    constexpr qint64 block = 1'048'576;
    while (!first.atEnd()) {
        const QByteArray bytes = first.read(block);
        if (bytes.isEmpty() || bytes != second.read(block))
            return false;
    }
    return true;
}

bool copyFile(const QString &path, const QString &copy)
{
    std::error_code failed;
    // Takes no time and no space, whatever the size.
    std::filesystem::create_hard_link(native(path), native(copy), failed);
    if (!failed)
        return true;
    if (!QFile::copy(path, copy))
        return false;
    QFile file(copy);
    // On a full disk QFile::copy() can succeed with a part of the file.
    if (sameContent(path, copy) && file.open(QFile::ReadOnly) && syncToDisk(file))
        return true;
    file.remove();
    return false;
}

} // namespace

QString SettingsFile::resolved(const QString &path)
{
    QString target = path;
    for (int i = 0; i < maxLinks; ++i) {
        const QFileInfo file(target);
        if (!file.isSymLink())
            break;
        target = file.symLinkTarget();
    }
    return target;
}

QMutex &SettingsFile::lockOf(const QString &path)
{
    // Never destroyed, because settings may be written while the process ends.
    static auto &locks = *new std::array<QMutex, 16>;
    const QFileInfo file(path);
    QString folder = QDir(file.path()).canonicalPath();
    if (folder.isEmpty())
        folder = file.absolutePath();
    // Folded for the file systems that take upper and lower case for the same; elsewhere it costs nothing.
    const QString key = folder + QLatin1Char('/') + file.fileName();
    return locks[qHash(key.toCaseFolded()) % locks.size()];
}

SettingsFile::Content SettingsFile::read(const QString &path)
{
    Content content;
    const QFileInfo info(path);
    if (!info.exists())
        return content;
    content.state = Content::Unreadable;
    // A pipe or a device could block or never end.
    if (!info.isFile()) {
        content.reason = Text::tr("it is no regular file");
        return content;
    }
    restrictToOwner(path);
    QFile file(path);
    if (!file.open(QFile::ReadOnly)) {
        content.reason = file.errorString();
        return content;
    }
    content.bytes = file.read(maxBytes + 1);
    if (file.error() != QFile::NoError) {
        content.reason = file.errorString();
        return content;
    }
    content.reason = content.bytes.size() > maxBytes ? Text::tr("it is too large") : faultOf(content.bytes);
    content.state = content.reason.isNull() ? Content::Good : Content::Broken;
    if (content.state == Content::Broken)
        content.bytes.clear();
    return content;
}

bool SettingsFile::replace(const QString &path, const QByteArray &bytes, QString *reason)
{
    const QFileInfo target(path);
    if (bytes.size() > maxBytes) {
        *reason = Text::tr("it would become too large");
        return false;
    }
    if (target.exists() && !target.isWritable()) {
        *reason = Text::tr("it is write-protected");
        return false;
    }
    const QString temporary = writeTemporary(target.path(), bytes, reason);
    if (temporary.isEmpty())
        return false;
    std::error_code failed;
    std::filesystem::rename(native(temporary), native(path), failed);
    if (!failed)
        return true;
    *reason = QString::fromLocal8Bit(failed.message().c_str());
    QFile::remove(temporary);
    return false;
}

bool SettingsFile::keepBroken(const QString &path, QString *reason)
{
    if (QFileInfo(path).size() == 0)
        return true;
    for (int i = 1; i < maxCopies; ++i) {
        const QString copy =
            path + QLatin1String(".broken") + (i > 1 ? QStringLiteral("-%1").arg(i) : QString());
        if (QFileInfo::exists(copy)) {
            if (sameContent(path, copy))
                return true;
            continue;
        }
        if (copyFile(path, copy))
            return true;
        break;
    }
    *reason = Text::tr("no copy of the broken file can be kept beside it");
    return false;
}
