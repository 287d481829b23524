#include "baselib/texthelper.h"

#include <QStringList>
#include <QVarLengthArray>
#include <QVector>

#include <charconv>
#include <cmath>
#include <limits>

namespace {

constexpr double maxSeconds = 1e12; // beyond it doubles no longer hold milliseconds

// The whole numbers of a comma separated list; an empty vector unless there are exactly so many.
QVector<qint64> numbersOf(const QString &text, int count)
{
    QVector<qint64> numbers;
    const QStringList parts = text.split(QLatin1Char(','));
    if (parts.size() != count)
        return {};
    for (const QString &part : parts) {
        bool ok = false;
        numbers.append(part.toLongLong(&ok));
        if (!ok)
            return {};
    }
    return numbers;
}

constexpr int maxDigits = 21;

// Annotation files have very many numbers, and a QString for each would be most of the time that they take.
char *putNumber(char *at, qint64 number, char separator)
{
    at = std::to_chars(at, at + maxDigits, number).ptr;
    *at = separator;
    return at + 1;
}

bool isInt(qint64 number)
{
    return number >= std::numeric_limits<int>::min() && number <= std::numeric_limits<int>::max();
}

void tell(bool *ok, bool value)
{
    if (ok)
        *ok = value;
}

} // namespace

QString TextHelper::TimeToText(double seconds, bool showMilliseconds)
{
    if (!std::isfinite(seconds))
        return QStringLiteral("--:--");
    const qint64 total = qRound64(qBound(0.0, std::fabs(seconds), maxSeconds) * 1000);
    const qint64 hours = total / 3'600'000;
    const QLatin1Char zero('0');
    QString text =
        QStringLiteral("%1:%2").arg(total / 60'000 % 60, 2, 10, zero).arg(total / 1000 % 60, 2, 10, zero);
    if (hours > 0)
        text.prepend(QString::number(hours) + QLatin1Char(':'));
    if (showMilliseconds)
        text += QStringLiteral(".%1").arg(total % 1000, 3, 10, zero);
    const bool shownAsZero = total < (showMilliseconds ? 1 : 1000);
    return seconds < 0 && !shownAsZero ? QLatin1Char('-') + text : text;
}

QString TextHelper::DateTimeFileString(const QDateTime &time, bool milliseconds)
{
    const QDateTime shown = time.isValid() ? time : QDateTime::currentDateTime();
    return shown.toString(
        milliseconds ? QStringLiteral("yyyy-MM-dd_HH-mm-ss-zzz") : QStringLiteral("yyyy-MM-dd_HH-mm-ss"));
}

QString TextHelper::toJsonString(const QJsonObject &object, QJsonDocument::JsonFormat format)
{
    return QString::fromUtf8(QJsonDocument(object).toJson(format));
}

QString TextHelper::QRectToString(const QRect &rect)
{
    // QRect's own width is an int and overflows for the widest ones.
    const qint64 width = qint64(rect.right()) - rect.left() + 1;
    const qint64 height = qint64(rect.bottom()) - rect.top() + 1;
    char text[4 * (maxDigits + 1)];
    char *end = text;
    for (const qint64 number : {qint64(rect.left()), qint64(rect.top()), width, height})
        end = putNumber(end, number, ',');
    return QString::fromLatin1(text, int(end - text) - 1);
}

QRect TextHelper::QRectFromString(const QString &text, bool *ok)
{
    tell(ok, false);
    const QVector<qint64> n = numbersOf(text, 4);
    // Sizes within 33 bits, so that the sums below cannot overflow.
    constexpr qint64 maxSize = qint64(1) << 33;
    const auto isSize = [](qint64 size) { return size >= -maxSize && size <= maxSize; };
    if (n.isEmpty() || !isInt(n[0]) || !isInt(n[1]) || !isSize(n[2]) || !isSize(n[3]))
        return {};
    const qint64 right = n[0] + n[2] - 1;
    const qint64 bottom = n[1] + n[3] - 1;
    if (!isInt(right) || !isInt(bottom))
        return {};
    tell(ok, true);
    return QRect(QPoint(int(n[0]), int(n[1])), QPoint(int(right), int(bottom)));
}

QString TextHelper::QListPointsToString(const QList<QPoint> &points)
{
    QVarLengthArray<char, 1024> text(points.size() * 2 * (maxDigits + 1));
    char *end = text.data();
    for (const QPoint &point : points) {
        end = putNumber(end, point.x(), ',');
        end = putNumber(end, point.y(), ';');
    }
    return QString::fromLatin1(text.data(), qMax(0, int(end - text.data()) - 1));
}

QList<QPoint> TextHelper::QListPointsFromString(const QString &text, bool *ok)
{
    tell(ok, text.isEmpty());
    if (text.isEmpty())
        return {};
    QList<QPoint> points;
    const QStringList parts = text.split(QLatin1Char(';'));
    for (const QString &part : parts) {
        const QVector<qint64> n = numbersOf(part, 2);
        if (n.isEmpty() || !isInt(n[0]) || !isInt(n[1]))
            return {};
        points.append(QPoint(int(n[0]), int(n[1])));
    }
    tell(ok, true);
    return points;
}
