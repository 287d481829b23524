#pragma once

#include "vtcv_export.h"

#include <QAbstractListModel>
#include <QColor>
#include <QHash>
#include <QVector>

/**
 * Lists the names of annotations, each with its colour and whether it is to be seen, and the name in use.
 *
 *     AnnotationNames names;
 *     names.add(QStringLiteral("left hand"));
 *     overlay->setNames(&names);
 *
 * Names stand in the order in which they came. A new one gets the next of a row of colours that are easy to
 * tell apart, so the same names added in the same order look the same.
 *
 * As a model it has one column: the name (Qt::DisplayRole), the colour (Qt::DecorationRole) and the check
 * box (Qt::CheckStateRole). A view may set the latter two.
 *
 * \thread GUI thread.
 */
class VTCV_EXPORT AnnotationNames : public QAbstractListModel
{
    Q_OBJECT
    Q_PROPERTY(QString current READ getCurrent WRITE setCurrent NOTIFY currentChanged)

public:
    explicit AnnotationNames(QObject *parent = nullptr);

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    bool setData(const QModelIndex &index, const QVariant &value, int role = Qt::EditRole) override;
    Qt::ItemFlags flags(const QModelIndex &index) const override;

    QStringList getNames() const;

    /** The row of \a name; -1 if it is not in the list. */
    int rowOf(const QString &name) const;

    /**
     * Adds \a name where it is not there yet, visible, and gives its row. The first name becomes the current
     * one.
     *
     * \param color the next colour of the row if it is invalid; ignored for a name that is there.
     */
    int add(const QString &name, const QColor &color = {});

    /** Takes \a name from the list; annotations stay. The current name moves on to a neighbour. */
    void remove(const QString &name);

    void clear();

    /** Grey for a name that is not in the list. */
    QColor getColor(const QString &name) const;

    /** Ignores names that are not in the list and invalid colours. */
    void setColor(const QString &name, const QColor &color);

    /** True for names that are not in the list. */
    bool isVisible(const QString &name) const;
    void setVisible(const QString &name, bool isVisible);

    /** The name that the next drawn item gets; null while the list is empty. */
    QString getCurrent() const;

    /** The names with their colours and check boxes as bytes for QSettings. */
    QByteArray saveState() const;

    /**
     * Puts the names of saveState() in place of those in the list.
     *
     * \return false, and the list stays as it is, if \a state is nothing that saveState() made.
     */
    bool restoreState(const QByteArray &state);

public Q_SLOTS:
    /** Adds \a name if it is not in the list. */
    void setCurrent(const QString &name);

Q_SIGNALS:
    void currentChanged(const QString &name);

private:
    struct Entry
    {
        QString name;
        QColor color;
        bool isVisible;
    };

    void setCurrentRow(int row);
    void setEntries(const QVector<Entry> &newEntries);

    QVector<Entry> entries;
    QHash<QString, int> rows; // of each name
    int currentRow = -1;
};
