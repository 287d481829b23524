#include "baselib/fileutilities.h"

#include <QDir>
#include <QFileInfo>
#include <QLocale>
#include <QSet>

#include <algorithm>

namespace {

// The folder border sorts before every character, so that a folder's files stay together.
ushort sortKey(QChar character)
{
    return character == QLatin1Char('/') ? 0 : character.toCaseFolded().unicode();
}

int endOfDigits(const QString &text, int from)
{
    while (from < text.size() && text[from].isDigit())
        ++from;
    return from;
}

int afterZeros(const QString &text, int from, int end)
{
    while (from < end && text[from].digitValue() == 0)
        ++from;
    return from;
}

// Our own, because QCollator's numeric mode depends on how Qt was built and does nothing in the C locale.
// Runs of digits compare by their value, of any length; all else by its case-folded character.
int naturalCompare(const QString &left, const QString &right)
{
    int l = 0;
    int r = 0;
    while (l < left.size() && r < right.size()) {
        if (left[l].isDigit() && right[r].isDigit()) {
            const int leftEnd = endOfDigits(left, l);
            const int rightEnd = endOfDigits(right, r);
            l = afterZeros(left, l, leftEnd);
            r = afterZeros(right, r, rightEnd);
            if (leftEnd - l != rightEnd - r)
                return (leftEnd - l) - (rightEnd - r);
            for (; l < leftEnd; ++l, ++r) {
                if (const int difference = left[l].digitValue() - right[r].digitValue())
                    return difference;
            }
        } else {
            if (const int difference = sortKey(left[l]) - sortKey(right[r]))
                return difference;
            ++l;
            ++r;
        }
    }
    return (left.size() - l) - (right.size() - r);
}

bool naturallyBefore(const QString &left, const QString &right)
{
    const int order = naturalCompare(left, right);
    return order != 0 ? order < 0 : left < right;
}

bool contains(const QString &folder, const QString &other)
{
    return other == folder
        || other.startsWith(folder.endsWith(QLatin1Char('/')) ? folder : folder + QLatin1Char('/'));
}

// Lists one folder after the other: first what lies below for real, then what links lead to.
class FolderWalk
{
public:
    FolderWalk(const QString &root, bool recursive)
        : recursive(recursive), canonicalRoot(QDir(root).canonicalPath())
    {
        visited.insert(canonicalRoot);
        waiting.append(root);
    }

    template <typename Function> void forEachFile(Function &&function)
    {
        while (!waiting.isEmpty() || takeLink()) {
            const QDir folder(waiting.takeFirst());
            const auto kinds = QDir::Files | (recursive ? QDir::Dirs | QDir::NoDotAndDotDot : QDir::Files);
            const QFileInfoList entries = folder.entryInfoList(kinds, QDir::Name);
            for (const QFileInfo &entry : entries) {
                if (!entry.isDir())
                    function(entry);
                else if (entry.isSymLink())
                    links.append(entry.filePath());
                else if (isNew(entry.filePath()))
                    waiting.append(entry.filePath());
            }
        }
    }

private:
    bool isNew(const QString &folder)
    {
        const QString canonical = QFileInfo(folder).canonicalFilePath();
        if (canonical.isEmpty() || visited.contains(canonical))
            return false;
        visited.insert(canonical);
        return true;
    }

    bool takeLink()
    {
        while (!links.isEmpty()) {
            const QString link = links.takeFirst();
            if (contains(QFileInfo(link).canonicalFilePath(), canonicalRoot) || !isNew(link))
                continue;
            waiting.append(link);
            return true;
        }
        return false;
    }

    const bool recursive;
    const QString canonicalRoot;
    QSet<QString> visited; // canonical paths
    QStringList waiting;
    QStringList links;
};

} // namespace

bool FileUtilities::createIfNotExists(const QString &folder)
{
    return !folder.isEmpty() && (QDir().mkpath(folder) || QFileInfo(folder).isDir());
}

QString FileUtilities::FolderSlash(const QString &folder)
{
    if (folder.isEmpty())
        return QStringLiteral("./");
    int length = folder.size();
    const auto isSlash = [](QChar character) {
#ifdef Q_OS_WIN
        if (character == QLatin1Char('\\'))
            return true;
#endif
        return character == QLatin1Char('/');
    };
    while (length > 0 && isSlash(folder[length - 1]))
        --length;
    return folder.left(length) + QLatin1Char('/');
}

QString FileUtilities::filesizeNice(qint64 bytes)
{
    return QLocale().formattedDataSize(bytes);
}

QString FileUtilities::filesizeNice(const QString &path)
{
    return filesizeNice(QFileInfo(path).size());
}

QStringList FileUtilities::getFilesOfTypes(
    const QString &folder, const QStringList &suffixes, bool recursive, bool fullPath)
{
    const QDir root(folder);
    if (folder.isEmpty() || !root.exists())
        return {};

    QStringList endings;
    for (const QString &suffix : suffixes) {
        if (!suffix.isEmpty())
            endings.append(suffix.startsWith(QLatin1Char('.')) ? suffix : QLatin1Char('.') + suffix);
    }

    const QString rootPath = FolderSlash(root.absolutePath());
    QStringList files;
    FolderWalk(rootPath, recursive).forEachFile([&](const QFileInfo &file) {
        const QString name = file.fileName();
        const bool wanted = std::any_of(endings.cbegin(), endings.cend(),
            [&name](const QString &ending) { return name.endsWith(ending, Qt::CaseInsensitive); });
        // A name that is no text in the platform's encoding is listed in a form that does not open.
        if (wanted && QFileInfo::exists(file.filePath()))
            files.append(file.filePath().mid(rootPath.size()));
    });
    std::sort(files.begin(), files.end(), naturallyBefore);
    if (fullPath) {
        for (QString &file : files)
            file.prepend(rootPath);
    }
    return files;
}
