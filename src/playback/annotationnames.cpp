#include "playback/annotationnames.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>

namespace {

const QLatin1String nameKey("name");
const QLatin1String colorKey("color");
const QLatin1String visibleKey("visible");

// Turning the hue by the golden angle sets each colour far from those before it, however many there are;
// where it comes near to one all the same, eight or more rows on, the shade is another.
QColor colorOfRow(int row)
{
    constexpr double goldenAngle = 137.508;
    constexpr double first = 40; // amber
    const int hue = int(first + row * goldenAngle) % 360;
    switch (row / 5 % 3) {
    case 0:
        return QColor::fromHsv(hue, 215, 255);
    case 1:
        return QColor::fromHsv(hue, 110, 255);
    default:
        return QColor::fromHsv(hue, 215, 180);
    }
}

} // namespace

AnnotationNames::AnnotationNames(QObject *parent) : QAbstractListModel(parent) { }

int AnnotationNames::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : entries.size();
}

QVariant AnnotationNames::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid))
        return {};
    const Entry &entry = entries[index.row()];
    switch (role) {
    case Qt::DisplayRole:
        return entry.name;
    case Qt::DecorationRole:
        return entry.color;
    case Qt::CheckStateRole:
        return entry.isVisible ? Qt::Checked : Qt::Unchecked;
    case Qt::AccessibleDescriptionRole:
        return entry.isVisible ? tr("Shown, colour %1").arg(entry.color.name())
                               : tr("Hidden, colour %1").arg(entry.color.name());
    default:
        return {};
    }
}

bool AnnotationNames::setData(const QModelIndex &index, const QVariant &value, int role)
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid))
        return false;
    Entry &entry = entries[index.row()];
    const QColor color = value.value<QColor>();
    if (role == Qt::CheckStateRole)
        entry.isVisible = value.toInt() == Qt::Checked;
    else if (role == Qt::DecorationRole && color.isValid())
        entry.color = color;
    else
        return false;
    Q_EMIT dataChanged(index, index, {role, Qt::AccessibleDescriptionRole});
    return true;
}

Qt::ItemFlags AnnotationNames::flags(const QModelIndex &index) const
{
    const Qt::ItemFlags own =
        index.isValid() ? Qt::ItemIsUserCheckable | Qt::ItemNeverHasChildren : Qt::NoItemFlags;
    return QAbstractListModel::flags(index) | own;
}

QStringList AnnotationNames::getNames() const
{
    QStringList names;
    for (const Entry &entry : entries)
        names << entry.name;
    return names;
}

int AnnotationNames::rowOf(const QString &name) const
{
    return rows.value(name, -1);
}

int AnnotationNames::add(const QString &name, const QColor &color)
{
    const int known = rowOf(name);
    if (known >= 0)
        return known;
    const int row = entries.size();
    beginInsertRows({}, row, row);
    entries.push_back({name, color.isValid() ? color : colorOfRow(row), true});
    rows.insert(name, row);
    endInsertRows();
    if (currentRow < 0)
        setCurrentRow(row);
    return row;
}

void AnnotationNames::remove(const QString &name)
{
    const int row = rowOf(name);
    if (row < 0)
        return;
    beginRemoveRows({}, row, row);
    const bool wasCurrent = row == currentRow; // a view may have moved on just now
    entries.remove(row);
    rows.clear();
    for (int i = 0; i < entries.size(); ++i)
        rows.insert(entries[i].name, i);
    if (row < currentRow || currentRow == entries.size())
        --currentRow;
    endRemoveRows();
    if (wasCurrent)
        Q_EMIT currentChanged(getCurrent());
}

void AnnotationNames::clear()
{
    setEntries({});
}

QColor AnnotationNames::getColor(const QString &name) const
{
    const int row = rowOf(name);
    return row < 0 ? QColor(Qt::lightGray) : entries[row].color;
}

void AnnotationNames::setColor(const QString &name, const QColor &color)
{
    setData(index(rowOf(name)), color, Qt::DecorationRole);
}

bool AnnotationNames::isVisible(const QString &name) const
{
    const int row = rowOf(name);
    return row < 0 || entries[row].isVisible;
}

void AnnotationNames::setVisible(const QString &name, bool isVisible)
{
    setData(index(rowOf(name)), isVisible ? Qt::Checked : Qt::Unchecked, Qt::CheckStateRole);
}

QString AnnotationNames::getCurrent() const
{
    return currentRow < 0 ? QString() : entries[currentRow].name;
}

void AnnotationNames::setCurrent(const QString &name)
{
    setCurrentRow(add(name));
}

void AnnotationNames::setCurrentRow(int row)
{
    if (row == currentRow)
        return;
    currentRow = row;
    Q_EMIT currentChanged(getCurrent());
}

QByteArray AnnotationNames::saveState() const
{
    QJsonArray list;
    for (const Entry &entry : entries) {
        list << QJsonObject{
            {nameKey, entry.name}, {colorKey, entry.color.name()}, {visibleKey, entry.isVisible}};
    }
    return QJsonDocument(list).toJson(QJsonDocument::Compact);
}

bool AnnotationNames::restoreState(const QByteArray &state)
{
    const QJsonDocument document = QJsonDocument::fromJson(state);
    if (!document.isArray())
        return false;
    const QJsonArray list = document.array();
    QVector<Entry> restored;
    QSet<QString> seen;
    for (const auto &value : list) {
        const QString name = value[nameKey].toString();
        const QColor color(value[colorKey].toString());
        if (!value[nameKey].isString() || !color.isValid() || seen.contains(name))
            return false;
        seen << name;
        restored.push_back({name, color, value[visibleKey].toBool(true)});
    }
    setEntries(restored);
    return true;
}

void AnnotationNames::setEntries(const QVector<Entry> &newEntries)
{
    const QString former = getCurrent();
    beginResetModel();
    entries = newEntries;
    rows.clear();
    for (int i = 0; i < entries.size(); ++i)
        rows.insert(entries[i].name, i);
    currentRow = rows.value(former, entries.isEmpty() ? -1 : 0);
    endResetModel();
    if (getCurrent() != former)
        Q_EMIT currentChanged(getCurrent());
}
